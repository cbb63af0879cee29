#include "platform/coding/CBORItem.h"

#include <bit>
#include <cstdint>
#include <limits>
#include <new>
#include <string>

namespace ox::cbor {

namespace {

// A string's text, when it is in one piece.
std::string_view textOf(const Item& item) noexcept {
  const Bytes text = item.bytes.subspan(item.head.size);
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

// A string's chunks, one behind the other; a string in one piece is its only chunk.
Bytes chunksOf(const Item& item) noexcept {
  return item.head.indefinite ? item.bytes.subspan(1, item.bytes.size() - 2) : item.bytes;
}

// The nearest double to -1 - `number`, which is rounded once: 2^64 alone is no integer here.
double negative(std::uint64_t number) noexcept {
  constexpr double two64 = 18446744073709551616.0;
  return number == std::numeric_limits<std::uint64_t>::max() ? -two64
                                                             : -static_cast<double>(number + 1);
}

OXValue simpleObject(std::uint64_t value) noexcept {
  if (value == falseValue || value == trueValue) {
    return OXNumber(value == trueValue);
  }
  return value == nullValue ? OXValue(OXNull()) : OXValue(OXMisfit());
}

}  // namespace

std::string stringOf(const Item& item) {
  if (!item.head.indefinite) {
    return std::string(textOf(item));
  }
  std::string string;
  std::uint64_t size = 0;
  for (Bytes chunks = chunksOf(item); !chunks.empty();) {
    size += textOf(takeItem(chunks)).size();
  }
  if (size > string.max_size()) {
    throw std::bad_alloc();
  }
  string.reserve(static_cast<std::size_t>(size));
  for (Bytes chunks = chunksOf(item); !chunks.empty();) {
    string += textOf(takeItem(chunks));
  }
  return string;
}

// Tag 1 on an integer or a float is a date. Any other tag may change its content's meaning, so the
// item is not an object.
std::optional<OXDate> dateOf(const Item& item) noexcept {
  if (item.head.kind != Kind::tag || item.head.number != epochDateTag) {
    return std::nullopt;
  }
  const Head content = readHead(item.bytes.subspan(item.head.size));
  const auto date = [](double seconds) { return OXDate(OXDate::duration(seconds)); };
  switch (content.kind) {
    case Kind::unsignedInteger:
      return date(static_cast<double>(content.number));
    case Kind::negativeInteger:
      return date(negative(content.number));
    case Kind::floatingPoint:
      return date(std::bit_cast<double>(content.number));
    default:
      return std::nullopt;
  }
}

OXValue objectOf(const Item& item) {
  constexpr std::uint64_t greatest = std::numeric_limits<std::int64_t>::max();
  const std::uint64_t number = item.head.number;
  switch (item.head.kind) {
    case Kind::byteString:
    case Kind::textString:
      return stringOf(item);
    case Kind::unsignedInteger:
      return OXNumber(number);
    case Kind::negativeInteger:
      return number > greatest ? OXValue(OXMisfit())
                               : OXNumber(-1 - static_cast<std::int64_t>(number));
    case Kind::floatingPoint:
      return OXNumber(std::bit_cast<double>(number));
    case Kind::simple:
      return simpleObject(number);
    default:
      break;
  }
  const std::optional<OXDate> date = dateOf(item);
  return date ? OXValue(*date) : OXValue(OXMisfit());
}

bool isText(const Item& item, std::string_view text) noexcept {
  bool isSame = isString(item.head.kind);
  for (Bytes chunks = chunksOf(item); isSame && !chunks.empty();) {
    const std::string_view chunk = textOf(takeItem(chunks));
    isSame = text.starts_with(chunk);
    text.remove_prefix(isSame ? chunk.size() : 0);
  }
  return isSame && text.empty();
}

}  // namespace ox::cbor

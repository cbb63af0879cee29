#include "platform/coding/CBORItem.h"

#include <bit>
#include <cstdint>
#include <limits>
#include <new>
#include <string>
#include <utility>

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

}  // namespace

template <>
std::optional<std::string> as<std::string>(const Item& item) {
  if (!isString(item.head.kind)) {
    return std::nullopt;
  }
  if (!item.head.indefinite) {
    return std::string(textOf(item));
  }
  std::uint64_t size = 0;
  for (Bytes chunks = chunksOf(item); !chunks.empty();) {
    size += textOf(takeItem(chunks)).size();
  }
  std::string string;
  if (size > string.max_size()) {
    throw std::bad_alloc();
  }
  string.reserve(static_cast<std::size_t>(size));
  for (Bytes chunks = chunksOf(item); !chunks.empty();) {
    string += textOf(takeItem(chunks));
  }
  return string;
}

template <>
std::optional<OXNumber> as<OXNumber>(const Item& item) {
  constexpr std::uint64_t greatest = std::numeric_limits<std::int64_t>::max();
  const std::uint64_t number = item.head.number;
  if (item.head.kind == Kind::unsignedInteger) {
    return OXNumber(number);
  }
  if (item.head.kind == Kind::negativeInteger && number <= greatest) {
    return OXNumber(-1 - static_cast<std::int64_t>(number));
  }
  if (item.head.kind == Kind::floatingPoint) {
    return OXNumber(std::bit_cast<double>(number));
  }
  return isBoolean(item.head) ? std::optional(OXNumber(number == trueValue)) : std::nullopt;
}

// Tag 1 on an integer or a float is a date. Any other tag may change its content's meaning, so the
// item is not an object.
template <>
std::optional<OXDate> as<OXDate>(const Item& item) {
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
  if (std::optional<std::string> string = as<std::string>(item)) {
    return *std::move(string);
  }
  if (const std::optional<OXNumber> number = as<OXNumber>(item)) {
    return *number;
  }
  if (const std::optional<OXDate> date = as<OXDate>(item)) {
    return *date;
  }
  return isNull(item.head) ? OXValue(OXNull()) : OXValue(OXMisfit());
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

unsigned char* write(unsigned char* to, const OXNumber& number) noexcept {
  if (number.kind() == OXNumber::Kind::boolean) {
    return write(to, number.boolValue());
  }
  if (number.kind() == OXNumber::Kind::floatingPoint) {
    return writeDouble(to, number.doubleValue());
  }
  const std::int64_t value = number.signed64Value();
  if (number.kind() == OXNumber::Kind::signedInteger && value < 0) {
    return writeHead(to, Kind::negativeInteger, static_cast<std::uint64_t>(-1 - value));
  }
  return write(to, number.unsigned64Value());
}

}  // namespace ox::cbor

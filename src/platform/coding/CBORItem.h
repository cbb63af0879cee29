// A whole CBOR data item, and what objects are written as.

#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <string_view>

#include "OrvexKit/platform/OXValue.h"
#include "platform/coding/CBORHead.h"
#include "platform/coding/CBORScanner.h"
#include "platform/coding/UTF8.h"

namespace ox::cbor {

struct Item {
  Head head;    // malformed when there is no item
  Bytes bytes;  // from the head to the end
};

// Takes the item from the start of `rest`; when there is no whole, well-formed one, `rest` is empty
// afterwards.
[[gnu::always_inline]] inline Item takeItem(Bytes& rest) noexcept {
  const Head head = rest.empty() ? Head{} : readHead(rest);
  std::size_t size = plainSize(rest, head);
  if (size == 0) {
    size = itemSize(rest);
    if (size == 0) {
      rest = {};
      return {};
    }
  }
  const Item item{head, rest.first(size)};
  rest = rest.subspan(size);
  return item;
}

// The item as an object of one kind (`std::string`, `OXDate` or `OXNumber`), if it is one. Only
// `std::bad_alloc` is thrown.
template <typename Object>
std::optional<Object> as(const Item& item);

// The object that the item is, or a misfit. Only `std::bad_alloc` is thrown.
OXValue objectOf(const Item& item);

// Whether the item is a string, in one piece or in chunks, of this text.
bool isText(const Item& item, std::string_view text) noexcept;

// Write an object to where there is room for it, and return the position behind it.
inline unsigned char* write(unsigned char* to, std::string_view string) noexcept {
  const Kind kind = utf8::isValid(string) ? Kind::textString : Kind::byteString;
  to = writeHead(to, kind, string.size());
  return to + string.copy(reinterpret_cast<char*>(to), string.size());
}
inline unsigned char* write(unsigned char* to, OXDate date) noexcept {
  return writeDouble(writeHead(to, Kind::tag, epochDateTag), date.time_since_epoch().count());
}
template <std::unsigned_integral Number>
unsigned char* write(unsigned char* to, Number number) noexcept {
  if constexpr (std::same_as<Number, bool>) {
    return writeHead(to, Kind::simple, number ? trueValue : falseValue);
  } else {
    return writeHead(to, Kind::unsignedInteger, number);
  }
}
unsigned char* write(unsigned char* to, const OXNumber& number) noexcept;
inline unsigned char* write(unsigned char* to, OXNull /*null*/) noexcept {
  return writeHead(to, Kind::simple, nullValue);
}
inline unsigned char* write(unsigned char* to, OXMisfit /*misfit*/) noexcept {
  return writeHead(to, Kind::simple, undefinedValue);
}

}  // namespace ox::cbor

// A whole CBOR data item, as far as an object can be made of it.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "OrvexKit/platform/OXValue.h"
#include "platform/coding/CBORHead.h"
#include "platform/coding/UTF8.h"

namespace ox::cbor {

enum class ItemKind : std::uint8_t {
  string,           // `number` bytes at `bytes`
  chunkedString,    // its chunks and a break, `number` bytes at `bytes`
  unsignedInteger,  // `number`
  negativeInteger,  // -1 - `number`, not below -2^63
  floatingPoint,    // a double whose bits are `number`
  boolean,          // `number` is 0 or 1
  null,
  date,   // the seconds are a double whose bits are `number`
  other,  // no object
};

struct Item {
  ItemKind kind;
  std::uint64_t number;
  const char* bytes;

  bool isString() const noexcept { return kind <= ItemKind::chunkedString; }
  bool isNumber() const noexcept {
    return kind >= ItemKind::unsignedInteger && kind <= ItemKind::boolean;
  }
};

// The slower part of `readItem`: an item that starts with `head` and is more than that.
std::size_t readLongItem(Bytes bytes, const Head& head, Item& item) noexcept;

// Reads the item at the start of `bytes` and returns its size there, or 0 when they hold no whole,
// well-formed one. Strings are not copied.
[[gnu::always_inline]] inline std::size_t readItem(Bytes bytes, Item& item) noexcept {
  if (bytes.empty()) {
    return 0;
  }
  const Head head = readHead(bytes);
  if (head.size > bytes.size()) {
    return 0;
  }
  item.number = head.number;
  switch (head.kind) {
    case Kind::unsignedInteger:
      item.kind = ItemKind::unsignedInteger;
      return head.size;
    case Kind::byteString:
    case Kind::textString:
      if (head.indefinite || head.number > bytes.size() - head.size) {
        break;
      }
      item.kind = ItemKind::string;
      item.bytes = reinterpret_cast<const char*>(bytes.data()) + head.size;
      return head.size + static_cast<std::size_t>(head.number);
    case Kind::floatingPoint:
      item.kind = ItemKind::floatingPoint;
      return head.size;
    case Kind::simple:
      if (head.number != falseValue && head.number != trueValue) {
        break;
      }
      item.kind = ItemKind::boolean;
      item.number = head.number - falseValue;
      return head.size;
    default:
      break;
  }
  return readLongItem(bytes, head, item);
}

// The object that `item` is, and that of a string, a number or a date alone. Only `std::bad_alloc`
// is thrown.
OXValue objectOf(const Item& item);
std::string stringOf(const Item& item);
OXNumber numberOf(const Item& item) noexcept;
inline OXDate dateOf(const Item& item) noexcept {
  return OXDate(OXDate::duration(std::bit_cast<double>(item.number)));
}

// Makes a string in chunks one piece, in `room`; what is too long for it is no object.
void joinShort(Item& item, std::span<char> room) noexcept;

// Whether a string in chunks is `string`, and one of any kind.
bool chunksAre(const Item& item, std::string_view string) noexcept;
inline bool isString(const Item& item, std::string_view string) noexcept {
  if (item.kind == ItemKind::chunkedString) {
    return chunksAre(item, string);
  }
  return item.kind == ItemKind::string && item.number == string.size() &&
         string == std::string_view(item.bytes, string.size());
}

// Write an object to where there is room for it, and return the position behind it.
inline unsigned char* writeString(unsigned char* to, std::string_view string) noexcept {
  const Kind kind = utf8::isValid(string) ? Kind::textString : Kind::byteString;
  to = writeHead(to, kind, string.size());
  return to + string.copy(reinterpret_cast<char*>(to), string.size());
}
inline unsigned char* writeDate(unsigned char* to, OXDate date) noexcept {
  return writeDouble(writeHead(to, Kind::tag, epochDateTag), date.time_since_epoch().count());
}

}  // namespace ox::cbor

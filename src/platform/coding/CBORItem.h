// A whole CBOR data item, and what objects are written as.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
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
  const std::size_t plain = plainSize(rest, head);
  const std::size_t size = plain != 0 ? plain : itemSize(rest);
  const Item item{size == 0 ? Head{} : head, rest.first(size)};
  rest = size == 0 ? rest.last(0) : rest.subspan(size);
  return item;
}

// The object that the item is, or a misfit; and the string and the date alone, where it is one.
// Only `std::bad_alloc` is thrown.
OXValue objectOf(const Item& item);
std::string stringOf(const Item& item);
std::optional<OXDate> dateOf(const Item& item) noexcept;

// Whether the item is a string, in one piece or in chunks, of this text.
bool isText(const Item& item, std::string_view text) noexcept;

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

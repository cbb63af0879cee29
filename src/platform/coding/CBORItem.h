// SPDX-License-Identifier: MIT

// CBOR data items: where one ends, what object it is, and how an object is written.

#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "OrvexKit/platform/OXValue.h"
#include "platform/coding/CBORHead.h"
#include "platform/coding/UTF8.h"

namespace ox::cbor {

// Follows the nesting of one data item, head by head, and can stop and go on wherever the bytes run
// out. Needs no memory but its own, however deep or large the item claims to be.
class Scanner {
 public:
  Scanner() noexcept { levels_[0] = {.kind = Kind::array, .indefinite = false, .items = 1}; }

  enum class Progress : std::uint8_t { within, complete, malformed, tooLarge };

  // `item` starts where the data item does, and holds at least what it held the last time. An item
  // that cannot end within `room` bytes is too large. After `complete`, `scanned()` is the item's
  // size; `reset` begins another one.
  Progress scan(Bytes item, std::size_t room) noexcept;

  std::size_t scanned() const noexcept { return scanned_; }
  void reset() noexcept {
    scanned_ = 0;
    levels_[0].items = 1;
  }

 private:
  // A container or a string in chunks that has begun.
  struct Level {
    Kind kind;
    bool indefinite;
    std::uint64_t items;  // still to come; an even number that is never reached when indefinite
  };

  // Containers and strings in chunks within each other; deeper ones are refused. Tags do not count.
  static constexpr std::size_t maximumDepth = 64;

  std::size_t passPlain(Bytes bytes) noexcept;
  bool closeLevels() noexcept;
  std::optional<Progress> passHead(Bytes rest, std::size_t room) noexcept;
  bool canStandHere(const Head& head) const noexcept;
  bool take(const Head& head) noexcept;

  // The first level is an array with one element, the data item itself.
  std::array<Level, 1 + maximumDepth> levels_;
  std::size_t depth_ = 0;
  std::size_t scanned_ = 0;
  bool tagged_ = false;
};

// How many of `bytes` the data item at their start takes, or 0 when they hold no whole, well-formed
// one.
std::size_t itemSize(Bytes bytes) noexcept;

// A whole, well-formed data item.
struct Item {
  Head head;    // malformed when there is no item
  Bytes bytes;  // from the head to the end
};

// Takes the item from the start of `rest`; when there is no whole, well-formed one, `rest` is empty
// afterwards.
[[gnu::always_inline]] inline Item takeItem(Bytes& rest) noexcept {
  Head head = headOf(rest);
  const std::size_t plain = plainSize(rest, head);
  const std::size_t size = plain != 0 ? plain : itemSize(rest);
  if (size == 0) {
    head = {};
    rest = rest.first(0);
  }
  const Bytes bytes = rest.first(size);
  rest = rest.subspan(size);
  return {head, bytes};
}

// A string's text, when it is in one piece.
inline std::string_view textOf(const Item& item) noexcept {
  const Bytes text = item.bytes.subspan(item.head.size);
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

// Set `object` to the item, if it is of this kind. Only `std::bad_alloc` is thrown.
bool read(Bytes item, std::optional<std::string>& object);
bool read(Bytes item, std::optional<OXNumber>& object) noexcept;
bool read(Bytes item, std::optional<OXDate>& object) noexcept;

// The object that the item is, or a misfit. Only `std::bad_alloc` is thrown.
OXValue objectOf(Bytes item);

// Whether the item is a string, in one piece or in chunks, of this text.
bool isText(Bytes item, std::string_view text) noexcept;

// Write an object to where there is room for it, and return the position behind it.
inline unsigned char* write(unsigned char* to, std::string_view string) noexcept {
  unsigned char* const contents = writeHead(to, Kind::textString, string.size());
  if (!utf8::copy(reinterpret_cast<char*>(contents), string)) {
    *to = firstByte(Kind::byteString, *to & lowBits);  // of the same length
  }
  return contents + string.size();
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

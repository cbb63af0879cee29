// SPDX-License-Identifier: MIT

// The head of a CBOR data item (RFC 8949, section 3): what kind of item it is, and its argument.
// Every part of the coder reads heads and writes them here.

#pragma once

#include <endian.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>

namespace ox::cbor {

using Bytes = std::span<const std::byte>;

// The first seven are the major types 0 to 6, in their order.
enum class Kind : std::uint8_t {
  unsignedInteger,  // `number`
  negativeInteger,  // -1 - `number`
  byteString,       // of `number` bytes, which follow
  textString,       // likewise; may be any bytes here
  array,            // of `number` items, which follow
  map,              // of `number` pairs, which follow
  tag,              // `number`; the tagged item follows
  simple,           // `number`, one of those below or a value without a meaning
  floatingPoint,    // `number` has the bits of the double
  breakCode,
  malformed,
};

constexpr std::uint64_t falseValue = 20;
constexpr std::uint64_t trueValue = 21;
constexpr std::uint64_t nullValue = 22;
constexpr std::uint64_t undefinedValue = 23;
constexpr std::uint64_t epochDateTag = 1;

struct Head {
  Kind kind = Kind::malformed;
  bool indefinite = false;  // a string in chunks, or a container, that a break ends
  std::size_t size = 0;     // in bytes; when it is more than there are, the argument is missing
  std::uint64_t number = 0;
};

constexpr std::size_t longestHead = 9;

// The first byte of a head: the major type, and five low bits that hold an argument below 24, or 24
// to 27 for an argument of 1, 2, 4 or 8 bytes behind the first one, or 31 for none.
constexpr unsigned lowBits = 0x1F;
constexpr unsigned char firstByte(Kind kind, std::uint64_t low) noexcept {
  return static_cast<unsigned char>(static_cast<unsigned>(kind) << 5 | low);
}

constexpr bool isBoolean(const Head& head) noexcept {
  return head.kind == Kind::simple && (head.number == falseValue || head.number == trueValue);
}
constexpr bool isNull(const Head& head) noexcept {
  return head.kind == Kind::simple && head.number == nullValue;
}
constexpr bool isString(Kind kind) noexcept {
  return kind == Kind::byteString || kind == Kind::textString;
}
constexpr bool isContainer(Kind kind) noexcept {
  return kind == Kind::array || kind == Kind::map;
}

// RFC 8949, appendix D.
inline double halfPrecision(std::uint64_t bits) noexcept {
  const int exponent = static_cast<int>(bits >> 10 & 0x1F);
  const auto mantissa = static_cast<double>(bits & 0x3FF);
  const double value = exponent == 0    ? std::ldexp(mantissa, -24)
                       : exponent != 31 ? std::ldexp(mantissa + 1024, exponent - 25)
                       : mantissa == 0  ? std::numeric_limits<double>::infinity()
                                        : std::numeric_limits<double>::quiet_NaN();
  return (bits & 0x8000) != 0 ? -value : value;
}

// The head at the start of `bytes`, whose argument has `width` bytes behind the first one.
template <std::size_t width>
[[gnu::always_inline]] inline Head readHeadWith(Kind kind, Bytes bytes) noexcept {
  constexpr std::size_t size = 1 + width;
  if (bytes.size() < size) {
    return {kind, false, size, 0};
  }
  std::uint64_t bits = 0;
  std::memcpy(&bits, bytes.data() + 1, width);
  const std::uint64_t argument = be64toh(bits) >> (64 - 8 * width);
  if (kind != Kind::simple) {
    return {kind, false, size, argument};
  }
  if constexpr (width == 1) {
    // The values below 32 have a form of one byte, or none.
    return {argument < 32 ? Kind::malformed : Kind::simple, false, size, argument};
  }
  const double real = width == 2   ? halfPrecision(argument)
                      : width == 4 ? std::bit_cast<float>(static_cast<std::uint32_t>(argument))
                                   : std::bit_cast<double>(argument);
  return {Kind::floatingPoint, false, size, std::bit_cast<std::uint64_t>(real)};
}

// The head at the start of `bytes`, which are not empty. Each size has a way of its own, so that
// what comes next need not wait for this head where the processor guesses the way.
[[gnu::always_inline]] inline Head readHead(Bytes bytes) noexcept {
  const auto first = std::to_integer<unsigned>(bytes.front());
  const auto kind = static_cast<Kind>(first >> 5);
  const unsigned low = first & lowBits;
  if (low < 24) {
    return {kind, false, 1, low};
  }
  switch (low) {
    case 24:
      return readHeadWith<1>(kind, bytes);
    case 25:
      return readHeadWith<2>(kind, bytes);
    case 26:
      return readHeadWith<4>(kind, bytes);
    case 27:
      return readHeadWith<8>(kind, bytes);
    default:
      break;
  }
  if (low == 31 && kind >= Kind::byteString && kind <= Kind::map) {
    return {kind, true, 1, 0};
  }
  return {low == 31 && kind == Kind::simple ? Kind::breakCode : Kind::malformed, false, 1, 0};
}

// The head at the start of `bytes`, malformed when they are empty.
[[gnu::always_inline]] inline Head headOf(Bytes bytes) noexcept {
  return bytes.empty() ? Head{} : readHead(bytes);
}

// The size of the number, simple value or definite-length string at the start of `bytes`, which has
// this head. 0 for other items, and for one that is cut off.
[[gnu::always_inline]] inline std::size_t plainSize(Bytes bytes, const Head& head) noexcept {
  if (head.size > bytes.size() || head.indefinite) {
    return 0;
  }
  if (isString(head.kind)) {
    const bool isCutOff = head.number > bytes.size() - head.size;
    return isCutOff ? 0 : head.size + static_cast<std::size_t>(head.number);
  }
  const bool isLonger =
      head.kind > Kind::floatingPoint || isContainer(head.kind) || head.kind == Kind::tag;
  return isLonger ? 0 : head.size;
}

// The power of the shortest argument that holds a number which the first byte does not.
constexpr unsigned leastPower(std::uint64_t argument) noexcept {
  return argument <= 0xFF ? 0 : argument <= 0xFFFF ? 1 : argument <= 0xFFFFFFFF ? 2 : 3;
}

// Writes a head whose argument has 2 to the power of `power` bytes, 8 at the most, to `to`, where
// there is room for the longest head, and returns the position behind it. `kind` is a major type.
[[gnu::always_inline]] inline unsigned char* writeHeadWith(unsigned char* to, Kind kind,
                                                           unsigned power,
                                                           std::uint64_t argument) noexcept {
  const std::size_t width = std::size_t{1} << power;
  *to = firstByte(kind, 24 + power);
  const std::uint64_t bits = htobe64(argument << (64 - 8 * width));
  std::memcpy(to + 1, &bits, sizeof bits);
  return to + 1 + width;
}

// The same with the shortest argument.
[[gnu::always_inline]] inline unsigned char* writeHead(unsigned char* to, Kind kind,
                                                       std::uint64_t argument) noexcept {
  if (argument < 24) {
    *to = firstByte(kind, argument);
    return to + 1;
  }
  return writeHeadWith(to, kind, leastPower(argument), argument);
}

// Writes the shortest head in front of `end`, where there is room for the longest one, and returns
// its position: all eight bytes of the argument, then the first byte in front of those it needs.
inline unsigned char* prependHead(unsigned char* end, Kind kind, std::uint64_t argument) noexcept {
  const bool isShort = argument < 24;
  const unsigned power = leastPower(argument);
  const std::uint64_t bits = htobe64(argument);
  std::memcpy(end - sizeof bits, &bits, sizeof bits);
  end -= isShort ? 1 : 1 + (std::size_t{1} << power);
  *end = firstByte(kind, isShort ? argument : 24 + power);
  return end;
}

// Always all eight bytes, and one pattern for every not-a-number.
inline unsigned char* writeDouble(unsigned char* to, double value) noexcept {
  const double written = std::isnan(value) ? std::numeric_limits<double>::quiet_NaN() : value;
  return writeHeadWith(to, Kind::simple, 3, std::bit_cast<std::uint64_t>(written));
}

}  // namespace ox::cbor

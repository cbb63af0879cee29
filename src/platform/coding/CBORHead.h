// The head of a CBOR data item (RFC 8949, section 3): what kind of item it is, and its argument.
// Every part of the coder reads heads and writes them here.

#pragma once

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
  Kind kind;
  bool indefinite;   // a string in chunks, or a container, that a break ends
  std::size_t size;  // in bytes; when it is more than there are, the argument is missing
  std::uint64_t number;
};

constexpr std::size_t longestHead = 9;

// Big-endian to native, and back.
template <typename Number>
Number swapped(Number bits) noexcept {
  if constexpr (sizeof bits == 1 || std::endian::native == std::endian::big) {
    return bits;
  } else if constexpr (sizeof bits == 2) {
    return __builtin_bswap16(bits);
  } else if constexpr (sizeof bits == 4) {
    return __builtin_bswap32(bits);
  } else {
    return __builtin_bswap64(bits);
  }
}

// RFC 8949, appendix D.
inline double halfPrecision(std::uint16_t bits) noexcept {
  const int exponent = bits >> 10 & 0x1F;
  const auto mantissa = static_cast<double>(bits & 0x3FF);
  const double value = exponent == 0    ? std::ldexp(mantissa, -24)
                       : exponent != 31 ? std::ldexp(mantissa + 1024, exponent - 25)
                       : mantissa == 0  ? std::numeric_limits<double>::infinity()
                                        : std::numeric_limits<double>::quiet_NaN();
  return (bits & 0x8000) != 0 ? -value : value;
}

// The head at the start of `bytes`, whose argument is a `Number` behind the first byte.
template <typename Number>
[[gnu::always_inline]] inline Head readHeadWith(Kind kind, Bytes bytes) noexcept {
  constexpr std::size_t size = 1 + sizeof(Number);
  if (bytes.size() < size) {
    return {kind, false, size, 0};
  }
  Number argument = 0;
  std::memcpy(&argument, bytes.data() + 1, sizeof argument);
  argument = swapped(argument);
  if (kind != Kind::simple) {
    return {kind, false, size, argument};
  }
  double real = 0;
  if constexpr (sizeof(Number) == 1) {
    // The values below 32 have a form of one byte, or none.
    return {argument < 32 ? Kind::malformed : Kind::simple, false, size, argument};
  } else if constexpr (sizeof(Number) == 2) {
    real = halfPrecision(argument);
  } else if constexpr (sizeof(Number) == 4) {
    real = std::bit_cast<float>(argument);
  } else {
    real = std::bit_cast<double>(argument);
  }
  return {Kind::floatingPoint, false, size, std::bit_cast<std::uint64_t>(real)};
}

// The head at the start of `bytes`, which are not empty. Each size has a way of its own, so that
// what comes next need not wait for this head where the processor guesses the way.
[[gnu::always_inline]] inline Head readHead(Bytes bytes) noexcept {
  const auto first = std::to_integer<unsigned>(bytes.front());
  const auto kind = static_cast<Kind>(first >> 5);
  const unsigned low = first & 0x1F;
  if (low < 24) {
    return {kind, false, 1, low};
  }
  switch (low) {
    case 24:
      return readHeadWith<std::uint8_t>(kind, bytes);
    case 25:
      return readHeadWith<std::uint16_t>(kind, bytes);
    case 26:
      return readHeadWith<std::uint32_t>(kind, bytes);
    case 27:
      return readHeadWith<std::uint64_t>(kind, bytes);
    default:
      break;
  }
  const bool canBeIndefinite = kind >= Kind::byteString && kind <= Kind::map;
  const bool isMalformed = low != 31 || !(canBeIndefinite || kind == Kind::simple);
  return {isMalformed       ? Kind::malformed
          : canBeIndefinite ? kind
                            : Kind::breakCode,
          canBeIndefinite && !isMalformed, 1, 0};
}

// Writes a head with the shortest argument to `to`, where there is room for the longest one, and
// returns the position behind it. `kind` is a major type.
[[gnu::always_inline]] inline unsigned char* writeHead(unsigned char* to, Kind kind,
                                                       std::uint64_t argument) noexcept {
  const auto type = static_cast<unsigned>(kind) << 5;
  if (argument < 24) {
    *to = static_cast<unsigned char>(type | argument);
    return to + 1;
  }
  // The argument has 1, 2, 4 or 8 bytes, for which 24 to 27 stand.
  const unsigned power = argument <= 0xFF         ? 0
                         : argument <= 0xFFFF     ? 1
                         : argument <= 0xFFFFFFFF ? 2
                                                  : 3;
  const std::size_t size = std::size_t{1} << power;
  *to = static_cast<unsigned char>(type | (24 + power));
  const std::uint64_t bits = swapped(argument << (64 - 8 * size));
  std::memcpy(to + 1, &bits, sizeof bits);
  return to + 1 + size;
}

// Writes true, false, null or undefined.
inline unsigned char* writeSimple(unsigned char* to, std::uint64_t value) noexcept {
  return writeHead(to, Kind::simple, value);
}

// Always all eight bytes, and one pattern for every not-a-number.
inline unsigned char* writeDouble(unsigned char* to, double value) noexcept {
  constexpr unsigned char head = 0xFB;
  const double written = std::isnan(value) ? std::numeric_limits<double>::quiet_NaN() : value;
  *to = head;
  const std::uint64_t bits = swapped(std::bit_cast<std::uint64_t>(written));
  std::memcpy(to + 1, &bits, sizeof bits);
  return to + longestHead;
}

}  // namespace ox::cbor

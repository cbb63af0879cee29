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
  bool indefinite;    // a string in chunks, or a container, that a break ends
  std::uint8_t size;  // in bytes; when it is more than there are, the argument is missing
  std::uint64_t number;
};

constexpr std::size_t longestHead = 9;

// Big-endian to native, and back.
inline std::uint64_t swapped(std::uint64_t bits) noexcept {
  return std::endian::native == std::endian::little ? __builtin_bswap64(bits) : bits;
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

// A head of major type 7 whose argument has `size` bytes: a simple value or a number.
inline Head simpleOrFloat(std::uint64_t argument, std::size_t size) noexcept {
  const auto headSize = static_cast<std::uint8_t>(1 + size);
  if (size == 1) {
    // The values below 32 have a form of one byte, or none.
    return {argument < 32 ? Kind::malformed : Kind::simple, false, headSize, argument};
  }
  if (size != 8) {
    const double value = size == 2
                             ? halfPrecision(argument)
                             : double{std::bit_cast<float>(static_cast<std::uint32_t>(argument))};
    argument = std::bit_cast<std::uint64_t>(value);
  }
  return {Kind::floatingPoint, false, headSize, argument};
}

// The head at the start of `bytes`, which are not empty.
[[gnu::always_inline]] inline Head readHead(Bytes bytes) noexcept {
  const auto first = std::to_integer<unsigned>(bytes.front());
  const auto kind = static_cast<Kind>(first >> 5);
  const unsigned low = first & 0x1F;
  if (low < 24) {
    return {kind, false, 1, low};
  }
  if (low > 27) {
    const bool canBeIndefinite = kind >= Kind::byteString && kind <= Kind::map;
    return low != 31         ? Head{Kind::malformed, false, 1, 0}
           : canBeIndefinite ? Head{kind, true, 1, 0}
           : first == 0xFF   ? Head{Kind::breakCode, false, 1, 0}
                             : Head{Kind::malformed, false, 1, 0};
  }
  const std::size_t size = std::size_t{1} << (low & 3U);
  std::uint64_t argument = 0;
  if (bytes.size() > sizeof argument) {
    // Loads eight bytes whatever the size: no branch has to guess it.
    std::memcpy(&argument, bytes.data() + 1, sizeof argument);
    argument = swapped(argument) >> (64 - 8 * size);
  } else if (size < bytes.size()) {
    for (const std::byte byte : bytes.subspan(1, size)) {
      argument = argument << 8 | std::to_integer<std::uint64_t>(byte);
    }
  } else {
    return {kind, false, static_cast<std::uint8_t>(1 + size), 0};
  }
  return kind == Kind::simple ? simpleOrFloat(argument, size)
                              : Head{kind, false, static_cast<std::uint8_t>(1 + size), argument};
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

// The smallest pieces of CBOR (RFC 8949): the head of a data item, together with its bytes when it
// is a string of known length.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace ox::cbor {

enum class TokenKind : std::uint8_t {
  unsignedInteger,    // `number`
  negativeInteger,    // -1 - `number`
  byteString,         // `string()`
  textString,         // `string()`, which may be any bytes
  chunkedByteString,  // of indefinite length: its chunks follow, then a break
  chunkedTextString,  // likewise
  array,              // of `number` items, which follow
  map,                // of `number` pairs, which follow
  indefiniteArray,    // its items follow, then a break
  indefiniteMap,      // its pairs follow, then a break
  tag,                // `number`; the item it is put on follows
  boolean,            // `number` is 0 or 1
  null,
  otherSimple,    // undefined, and the simple values without a meaning
  floatingPoint,  // `real()`
  breakCode,
  incomplete,  // the bytes end within the token, which has at least `size` bytes
  malformed,   // no token starts with these bytes
};

struct Token {
  TokenKind kind;
  std::uint64_t number;
  const char* bytes;
  std::size_t size;  // in the coded form

  double real() const noexcept { return std::bit_cast<double>(number); }
  std::string_view string() const noexcept { return {bytes, static_cast<std::size_t>(number)}; }
};

// The token at the start of `bytes`, unless it is a whole string of known length.
Token readLongToken(std::span<const std::byte> bytes) noexcept;

// The number that starts at `bytes`, most significant byte first.
template <typename Number>
Number bigEndianAt(const std::byte* bytes) noexcept {
  Number number;
  std::memcpy(&number, bytes, sizeof number);
  if constexpr (std::endian::native == std::endian::little) {
    if constexpr (sizeof number == 8) {
      number = __builtin_bswap64(number);
    } else if constexpr (sizeof number == 4) {
      number = __builtin_bswap32(number);
    } else if constexpr (sizeof number == 2) {
      number = __builtin_bswap16(number);
    }
  }
  return number;
}

// The argument of 1, 2, 4 or 8 bytes that follows the first byte of `bytes`; they are there.
inline std::uint64_t readArgument(std::span<const std::byte> bytes, std::size_t size) noexcept {
  const std::byte* const start = bytes.data() + 1;
  // Which size it is cannot be foretold, so no branch asks for it if there are bytes to spare.
  if (bytes.size() > sizeof(std::uint64_t)) {
    return bigEndianAt<std::uint64_t>(start) >> (64 - 8 * size);
  }
  return size == 1   ? bigEndianAt<std::uint8_t>(start)
         : size == 2 ? bigEndianAt<std::uint16_t>(start)
                     : bigEndianAt<std::uint32_t>(start);
}

// The token at the start of `bytes`, whose first byte says that an argument follows. What records
// hold is read here, and the rest by `readLongToken`.
inline Token readTokenWithArgument(std::span<const std::byte> bytes) noexcept {
  const unsigned first = bytes.empty() ? 0xFFU : std::to_integer<unsigned>(bytes[0]);
  const std::size_t size = std::size_t{1} << (first & 3U);
  const std::size_t head = 1 + size;
  if ((first & 0x1FU) >= 28 || head > bytes.size()) {
    return readLongToken(bytes);
  }
  const std::uint64_t number = readArgument(bytes, size);
  const auto token = [&](TokenKind kind) {
    return Token{.kind = kind, .number = number, .bytes = nullptr, .size = head};
  };
  const auto string = [&](TokenKind kind) {
    return Token{.kind = kind,
                 .number = number,
                 .bytes = reinterpret_cast<const char*>(bytes.data()) + head,
                 .size = head + static_cast<std::size_t>(number)};
  };
  const bool fits = number <= bytes.size() - head;
  constexpr unsigned doubleHead = 0xFB;
  switch (first >> 5) {
    case 0:
      return token(TokenKind::unsignedInteger);
    case 1:
      return token(TokenKind::negativeInteger);
    case 2:
      return fits ? string(TokenKind::byteString) : readLongToken(bytes);
    case 3:
      return fits ? string(TokenKind::textString) : readLongToken(bytes);
    default:
      return first == doubleHead ? token(TokenKind::floatingPoint) : readLongToken(bytes);
  }
}

// The token at the start of `bytes`. Strings are not copied.
//
// Records hold heads of one byte, integers, short strings and doubles. These are read right here,
// where the compiler can see what becomes of them: calling the library takes longer than that.
inline Token readToken(std::span<const std::byte> bytes) noexcept {
  constexpr unsigned argumentBits = 0x1F;
  constexpr unsigned oneByteArguments = 24;
  const unsigned first = bytes.empty() ? argumentBits : std::to_integer<unsigned>(bytes[0]);
  const unsigned argument = first & argumentBits;
  if (argument >= oneByteArguments) {
    return readTokenWithArgument(bytes);
  }
  const auto token = [&](TokenKind kind) {
    return Token{.kind = kind, .number = argument, .bytes = nullptr, .size = 1};
  };
  const auto string = [&](TokenKind kind) {
    return Token{.kind = argument < bytes.size() ? kind : TokenKind::incomplete,
                 .number = argument,
                 .bytes = reinterpret_cast<const char*>(bytes.data()) + 1,
                 .size = std::size_t{1} + argument};
  };
  switch (first >> 5) {
    case 0:
      return token(TokenKind::unsignedInteger);
    case 1:
      return token(TokenKind::negativeInteger);
    case 2:
      return string(TokenKind::byteString);
    case 3:
      return string(TokenKind::textString);
    case 4:
      return token(TokenKind::array);
    case 5:
      return token(TokenKind::map);
    case 6:
      return token(TokenKind::tag);
    default:
      break;
  }
  constexpr unsigned falseValue = 20;
  constexpr unsigned trueValue = 21;
  constexpr unsigned nullValue = 22;
  return argument == falseValue || argument == trueValue
             ? Token{.kind = TokenKind::boolean,
                     .number = argument - falseValue,
                     .bytes = nullptr,
                     .size = 1}
             : token(argument == nullValue ? TokenKind::null : TokenKind::otherSimple);
}

}  // namespace ox::cbor

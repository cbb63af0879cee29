// The smallest pieces of CBOR (RFC 8949): the head of a data item, together with its bytes when it
// is a string of known length.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
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

// The token at the start of `bytes`, which has no head of one byte.
Token readLongToken(std::span<const std::byte> bytes) noexcept;

// The token at the start of `bytes`. Strings are not copied.
//
// A head of one byte says all there is to say. Records hold little else, so these are read right
// here, where the compiler can see what becomes of them.
inline Token readToken(std::span<const std::byte> bytes) noexcept {
  constexpr unsigned argumentBits = 0x1F;
  constexpr unsigned oneByteArguments = 24;
  const unsigned first = bytes.empty() ? argumentBits : std::to_integer<unsigned>(bytes[0]);
  const unsigned argument = first & argumentBits;
  if (argument >= oneByteArguments) {
    return readLongToken(bytes);
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

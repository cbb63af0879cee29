// A whole CBOR data item, as far as an object can be made of it.

#pragma once

#include <OrvexKit/platform/OXCBORCoder.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/coding/CBORToken.h"

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

// The slower part of `readItem`: whatever `token`, the first one of `bytes`, leaves open.
std::size_t readLongItem(std::span<const std::byte> bytes, const Token& token, Item& item) noexcept;

// Reads the item at the start of `bytes` and gives its size there, or 0 when they hold no whole,
// well-formed one. Strings are not copied.
inline std::size_t readItem(std::span<const std::byte> bytes, Item& item) noexcept {
  const Token token = readToken(bytes);
  item.number = token.number;
  item.bytes = token.bytes;
  switch (token.kind) {
    case TokenKind::textString:
    case TokenKind::byteString:
      item.kind = ItemKind::string;
      return token.size;
    case TokenKind::unsignedInteger:
      item.kind = ItemKind::unsignedInteger;
      return token.size;
    case TokenKind::boolean:
      item.kind = ItemKind::boolean;
      return token.size;
    case TokenKind::floatingPoint:
      item.kind = ItemKind::floatingPoint;
      return token.size;
    case TokenKind::null:
      item.kind = ItemKind::null;
      return token.size;
    default:
      return readLongItem(bytes, token, item);
  }
}

// `readItem` of an item that is very likely a short text, as keys are.
inline std::size_t readKey(std::span<const std::byte> bytes, Item& item) noexcept {
  constexpr unsigned emptyText = 0x60;
  const unsigned length = bytes.empty() ? 24 : std::to_integer<unsigned>(bytes[0]) - emptyText;
  if (length >= 24 || length >= bytes.size()) {
    return readItem(bytes, item);
  }
  item = {.kind = ItemKind::string,
          .number = length,
          .bytes = reinterpret_cast<const char*>(bytes.data()) + 1};
  return 1 + std::size_t{length};
}

// Of a string that is not in chunks.
inline std::string_view stringOf(const Item& item) noexcept {
  return {item.bytes, static_cast<std::size_t>(item.number)};
}

// Of a string in chunks: put together, and compared without that.
std::string joinedChunks(const Item& item);
bool chunksEqual(const Item& item, std::string_view string) noexcept;

}  // namespace ox::cbor

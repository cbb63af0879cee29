#include "platform/coding/CBORItem.h"

#include <bit>
#include <limits>

#include "platform/coding/CBORItemScanner.h"

namespace ox::cbor {

namespace {

using Bytes = std::span<const std::byte>;

constexpr std::uint64_t epochDate = 1;

std::size_t setDate(Item& item, double seconds, std::size_t size) noexcept {
  item.kind = ItemKind::date;
  item.number = std::bit_cast<std::uint64_t>(seconds);
  return size;
}

std::size_t readOther(Bytes bytes, Item& item) noexcept {
  item.kind = ItemKind::other;
  return itemSize(bytes);
}

std::size_t readChunkedString(Bytes bytes, const Token& start, Item& item) noexcept {
  const std::size_t size = itemSize(bytes);
  item.kind = ItemKind::chunkedString;
  item.number = size == 0 ? 0 : size - start.size;
  item.bytes = reinterpret_cast<const char*>(bytes.data()) + start.size;
  return size;
}

// A date is a tag on a number; true and false are none. What other tags stand on may mean something
// else than it would without them.
std::size_t readTagged(Bytes bytes, const Token& tag, Item& item) noexcept {
  if (tag.number != epochDate) {
    return readOther(bytes, item);
  }
  const Token content = readToken(bytes.subspan(tag.size));
  const std::size_t size = tag.size + content.size;
  switch (content.kind) {
    case TokenKind::unsignedInteger:
      return setDate(item, static_cast<double>(content.number), size);
    case TokenKind::negativeInteger:
      return setDate(item, -1.0 - static_cast<double>(content.number), size);
    case TokenKind::floatingPoint:
      return setDate(item, content.real(), size);
    default:
      return readOther(bytes, item);
  }
}

// Calls `take` with one chunk after the other.
template <typename Take>
void forEachChunk(const Item& item, Take take) {
  Bytes chunks = std::as_bytes(std::span(stringOf(item)));
  for (Token chunk = readToken(chunks); chunk.kind != TokenKind::breakCode;
       chunk = readToken(chunks)) {
    take(chunk.string());
    chunks = chunks.subspan(chunk.size);
  }
}

}  // namespace

std::size_t readLongItem(Bytes bytes, const Token& token, Item& item) noexcept {
  constexpr std::uint64_t greatest = std::numeric_limits<std::int64_t>::max();
  switch (token.kind) {
    case TokenKind::tag:
      return readTagged(bytes, token, item);
    case TokenKind::negativeInteger:
      item.kind = token.number > greatest ? ItemKind::other : ItemKind::negativeInteger;
      return token.size;
    case TokenKind::chunkedTextString:
    case TokenKind::chunkedByteString:
      return readChunkedString(bytes, token, item);
    default:
      return readOther(bytes, item);
  }
}

std::string joinedChunks(const Item& item) {
  std::size_t size = 0;
  forEachChunk(item, [&](std::string_view chunk) { size += chunk.size(); });
  std::string joined;
  joined.reserve(size);
  forEachChunk(item, [&](std::string_view chunk) { joined += chunk; });
  return joined;
}

bool chunksEqual(const Item& item, std::string_view string) noexcept {
  bool equal = true;
  forEachChunk(item, [&](std::string_view chunk) {
    equal = equal && string.starts_with(chunk);
    string.remove_prefix(equal ? chunk.size() : 0);
  });
  return equal && string.empty();
}

}  // namespace ox::cbor

#include "platform/coding/CBORItem.h"

#include <bit>
#include <limits>
#include <new>

#include "platform/coding/CBORScanner.h"

namespace ox::cbor {

namespace {

std::size_t setDate(Item& item, double seconds, std::size_t size) noexcept {
  item.kind = ItemKind::date;
  item.number = std::bit_cast<std::uint64_t>(seconds);
  return size;
}

// An item that has to be scanned for its end; its contents are known for a string in chunks alone.
std::size_t readScanned(Bytes bytes, ItemKind kind, Item& item) noexcept {
  const std::size_t size = itemSize(bytes);
  item.kind = kind;
  item.number = size == 0 ? 0 : size - 1;
  item.bytes = reinterpret_cast<const char*>(bytes.data()) + 1;
  return size;
}

// The nearest double to -1 - `number`, which is rounded once: 2^64 alone is no integer here.
double negative(std::uint64_t number) noexcept {
  constexpr double two64 = 18446744073709551616.0;
  return number == std::numeric_limits<std::uint64_t>::max() ? -two64
                                                             : -static_cast<double>(number + 1);
}

// Tag 1 on an integer or a float is a date. Any other tag may change its content's meaning, so the
// item is not an object.
std::size_t readTagged(Bytes bytes, const Head& tag, Item& item) noexcept {
  const Bytes tagged = bytes.subspan(tag.size);
  if (tag.number != epochDateTag || tagged.empty()) {
    return readScanned(bytes, ItemKind::other, item);
  }
  const Head content = readHead(tagged);
  const std::size_t size = tag.size + content.size;
  if (size > bytes.size()) {
    return 0;
  }
  switch (content.kind) {
    case Kind::unsignedInteger:
      return setDate(item, static_cast<double>(content.number), size);
    case Kind::negativeInteger:
      return setDate(item, negative(content.number), size);
    case Kind::floatingPoint:
      return setDate(item, std::bit_cast<double>(content.number), size);
    default:
      return readScanned(bytes, ItemKind::other, item);
  }
}

std::string_view wholeString(const Item& item) noexcept {
  return {item.bytes, static_cast<std::size_t>(item.number)};
}

// Calls `take` with one chunk after the other, up to the break.
template <typename Take>
void forEachChunk(const Item& item, Take take) {
  Bytes chunks = std::as_bytes(std::span(wholeString(item)));
  Item chunk{};
  for (std::size_t size = readItem(chunks, chunk); size != 0 && chunk.kind == ItemKind::string;
       size = readItem(chunks, chunk)) {
    take(wholeString(chunk));
    chunks = chunks.subspan(size);
  }
}

}  // namespace

std::size_t readLongItem(Bytes bytes, const Head& head, Item& item) noexcept {
  constexpr std::uint64_t greatest = std::numeric_limits<std::int64_t>::max();
  switch (head.kind) {
    case Kind::tag:
      return readTagged(bytes, head, item);
    case Kind::negativeInteger:
      item.kind = head.number > greatest ? ItemKind::other : ItemKind::negativeInteger;
      return head.size;
    case Kind::simple:
      item.kind = head.number == nullValue ? ItemKind::null : ItemKind::other;
      return head.size;
    case Kind::byteString:
    case Kind::textString:
      return head.indefinite ? readScanned(bytes, ItemKind::chunkedString, item) : 0;
    default:
      return readScanned(bytes, ItemKind::other, item);
  }
}

std::string stringOf(const Item& item) {
  const bool inChunks = item.kind == ItemKind::chunkedString;
  std::size_t size = inChunks ? 0 : static_cast<std::size_t>(item.number);
  if (inChunks) {
    forEachChunk(item, [&](std::string_view chunk) { size += chunk.size(); });
  }
  std::string string;
  if (size > string.max_size()) {
    throw std::bad_alloc();
  }
  if (!inChunks) {
    string.assign(item.bytes, size);
    return string;
  }
  string.reserve(size);
  forEachChunk(item, [&](std::string_view chunk) { string += chunk; });
  return string;
}

OXNumber numberOf(const Item& item) noexcept {
  switch (item.kind) {
    case ItemKind::negativeInteger:
      return OXNumber(-1 - static_cast<std::int64_t>(item.number));
    case ItemKind::floatingPoint:
      return OXNumber(std::bit_cast<double>(item.number));
    case ItemKind::boolean:
      return OXNumber(item.number != 0);
    default:
      return OXNumber(item.number);
  }
}

OXValue objectOf(const Item& item) {
  if (item.isString()) {
    return stringOf(item);
  }
  if (item.isNumber()) {
    return numberOf(item);
  }
  if (item.kind == ItemKind::date) {
    return dateOf(item);
  }
  return item.kind == ItemKind::null ? OXValue(OXNull()) : OXValue(OXMisfit());
}

void joinShort(Item& item, std::span<char> room) noexcept {
  if (item.kind != ItemKind::chunkedString) {
    return;
  }
  std::size_t size = 0;
  bool fits = true;
  forEachChunk(item, [&](std::string_view chunk) {
    fits = fits && chunk.size() <= room.size() - size;
    size += fits ? chunk.copy(room.data() + size, chunk.size()) : 0;
  });
  item = {fits ? ItemKind::string : ItemKind::other, size, room.data()};
}

bool chunksAre(const Item& item, std::string_view string) noexcept {
  bool equal = true;
  forEachChunk(item, [&](std::string_view chunk) {
    equal = equal && string.starts_with(chunk);
    string.remove_prefix(equal ? chunk.size() : 0);
  });
  return equal && string.empty();
}

}  // namespace ox::cbor

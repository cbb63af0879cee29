#include "OrvexKit/platform/OXCBORCoder.h"

#include <bit>
#include <cstring>
#include <limits>
#include <string>

#include "platform/coding/CBORItem.h"
#include "platform/coding/CBORToken.h"

namespace {

using ox::cbor::Entry;
using ox::cbor::Item;
using ox::cbor::ItemKind;
using ox::cbor::Token;
using ox::cbor::TokenKind;

using Bytes = std::span<const std::byte>;

constexpr std::byte breakCode{0xFF};

bool isString(const Item& item) noexcept {
  return item.kind == ItemKind::string || item.kind == ItemKind::chunkedString;
}

bool isKey(const Item& item, std::string_view key) noexcept {
  if (item.kind == ItemKind::chunkedString) {
    return ox::cbor::chunksEqual(item, key);
  }
  if (item.number != key.size() || item.kind != ItemKind::string) {
    return false;
  }
  // Keys of the same length mostly differ in the last byte.
  return key.empty() || (item.bytes[key.size() - 1] == key.back() &&
                         std::memcmp(item.bytes, key.data(), key.size()) == 0);
}

// Reads the entry at the start of `bytes`, which in sequential mode is an item without a key, and
// gives its size, or 0 when none is there.
std::size_t readEntry(Bytes bytes, bool keyed, Entry& entry) noexcept {
  std::size_t keySize = 0;
  if (keyed) {
    keySize = ox::cbor::readKey(bytes, entry.key);
    if (keySize == 0) {
      return 0;
    }
  }
  const std::size_t size = ox::cbor::readItem(bytes.subspan(keySize), entry.item);
  return size == 0 ? 0 : keySize + size;
}

// Made where it stays: an object that is copied right after it was made takes longer than all else.
template <typename Object, typename... Argument>
std::optional<OXValue> object(Argument... argument) {
  return std::optional<OXValue>(std::in_place, std::in_place_type<Object>, argument...);
}

// The object that `item` is; it is one.
std::optional<OXValue> objectFrom(const Item& item) {
  switch (item.kind) {
    case ItemKind::string:
      return object<std::string>(ox::cbor::stringOf(item));
    case ItemKind::chunkedString:
      return ox::cbor::joinedChunks(item);
    case ItemKind::unsignedInteger:
      return object<OXNumber>(item.number);
    case ItemKind::negativeInteger:
      return object<OXNumber>(-1 - static_cast<std::int64_t>(item.number));
    case ItemKind::floatingPoint:
      return object<OXNumber>(std::bit_cast<double>(item.number));
    case ItemKind::boolean:
      return object<OXNumber>(item.number != 0);
    case ItemKind::date:
      return object<OXDate>(OXDate::duration(std::bit_cast<double>(item.number)));
    case ItemKind::null:
    case ItemKind::other:
      break;
  }
  return OXNull();
}

// What a map or an array holds, or a run without either around it.
struct Contents {
  enum class Ending : std::uint8_t { afterCount, atBreak, withBytes };
  bool exist = true;
  Ending ending = Ending::withBytes;
  std::uint64_t count = 0;
  std::size_t start = 0;
};

Contents contentsOf(Bytes bytes, OXCBORMode mode) noexcept {
  const bool keyed = mode == OXCBORMode::keyed;
  const Token head = ox::cbor::readToken(bytes);
  if (head.kind == (keyed ? TokenKind::map : TokenKind::array)) {
    return {.ending = Contents::Ending::afterCount, .count = head.number, .start = head.size};
  }
  if (head.kind == (keyed ? TokenKind::indefiniteMap : TokenKind::indefiniteArray)) {
    return {.ending = Contents::Ending::atBreak, .start = head.size};
  }
  return {.exist = !keyed};
}

}  // namespace

OXCBORDecoder::OXCBORDecoder(Bytes bytes, OXCBORMode mode) noexcept : bytes_(bytes), mode_(mode) {
  if (!open()) {
    fail();
  }
}

bool OXCBORDecoder::allowsKeyedCoding() const {
  return mode_ == OXCBORMode::keyed;
}

// Goes through all of the bytes, leaves the contents of the map or the array in `bytes_`, and
// remembers entries while there is room. Keys that are no strings are never asked for.
bool OXCBORDecoder::open() noexcept {
  using Ending = Contents::Ending;
  const Contents contents = contentsOf(bytes_, mode_);
  if (!contents.exist) {
    return false;
  }
  bytes_ = bytes_.subspan(contents.start);
  const bool keyed = mode_ == OXCBORMode::keyed;
  Bytes rest = bytes_;
  const auto isEnd = [&](std::uint64_t taken) {
    return contents.ending == Ending::afterCount ? taken == contents.count
           : contents.ending == Ending::atBreak  ? !rest.empty() && rest[0] == breakCode
                                                 : rest.empty();
  };
  // Members would be read anew after every byte that is written.
  std::size_t count = 0;
  std::size_t position = 0;
  Entry beyond;
  for (std::uint64_t taken = 0; !isEnd(taken); ++taken) {
    const bool hasRoom = count < entries_.size();
    Entry& entry = hasRoom ? entries_[count] : beyond;
    const std::size_t size = readEntry(rest, keyed, entry);
    if (size == 0) {
      return false;
    }
    rest = rest.subspan(size);
    if (hasRoom) {
      position += size;
      count += !keyed || isString(entry.key) ? 1U : 0U;
    }
  }
  entryCount_ = count;
  position_ = position;
  bytes_ = bytes_.first(bytes_.size() - rest.size());
  return rest.size() == (contents.ending == Ending::atBreak ? 1 : 0);
}

bool OXCBORDecoder::find(std::string_view key, Item& item) const noexcept {
  for (const Entry& entry : std::span(entries_).first(entryCount_)) {
    if (isKey(entry.key, key)) {
      item = entry.item;
      return true;
    }
  }
  Entry entry;
  for (Bytes rest = bytes_.subspan(position_); !rest.empty();) {
    rest = rest.subspan(readEntry(rest, true, entry));
    if (isKey(entry.key, key)) {
      item = entry.item;
      return true;
    }
  }
  return false;
}

void OXCBORDecoder::fail() noexcept {
  failed_ = true;
  next_ = 0;
  entryCount_ = 0;
}

// What no field takes, or as nearly as there is such a thing.
OXValue OXCBORDecoder::misfit() noexcept {
  fail();
  if (mode_ == OXCBORMode::keyed) {
    return OXNull();
  }
  return OXDate(OXDate::duration(std::numeric_limits<double>::quiet_NaN()));
}

std::optional<OXValue> OXCBORDecoder::objectOrMisfit(const Item& item) {
  if (item.kind == ItemKind::other) {
    return misfit();
  }
  return objectFrom(item);
}

std::optional<OXValue> OXCBORDecoder::decodeObjectForKey(std::string_view key) {
  if (mode_ != OXCBORMode::keyed) {
    return std::nullopt;
  }
  if (failed_) {
    return misfit();
  }
  Item item;
  if (!find(key, item)) {
    return std::nullopt;
  }
  return objectOrMisfit(item);
}

std::optional<OXValue> OXCBORDecoder::decodeObject() {
  if (mode_ != OXCBORMode::sequential) {
    return std::nullopt;
  }
  if (next_ < entryCount_) {
    ++next_;
    return objectOrMisfit(entries_[next_ - 1].item);
  }
  if (isAtEnd()) {
    return misfit();
  }
  Item item;
  position_ += ox::cbor::readItem(bytes_.subspan(position_), item);
  return objectOrMisfit(item);
}

bool OXCBORDecoder::isAtEnd() const noexcept {
  return failed_ || mode_ != OXCBORMode::sequential ||
         (next_ == entryCount_ && position_ == bytes_.size());
}

void OXCBORDecoder::encodeObjectForKey(const OXValueView& /*object*/, std::string_view /*key*/) {}

void OXCBORDecoder::encodeObject(const OXValueView& /*object*/) {}

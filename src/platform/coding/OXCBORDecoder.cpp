#include "OrvexKit/platform/OXCBORCoder.h"

#include "platform/coding/CBORItem.h"
#include "platform/coding/CBORScanner.h"

namespace ox::cbor {
namespace {

// The same bit for all keys of one text. A key in chunks, whose text is not at hand, gets them all.
std::uint64_t bitOf(std::string_view key) noexcept {
  const auto last = key.empty() ? 0U : static_cast<unsigned char>(key.back());
  return std::uint64_t{1} << ((key.size() * 5 + last) % 64);
}
std::uint64_t bitOf(const Item& key) noexcept {
  return key.kind == ItemKind::string ? bitOf({key.bytes, static_cast<std::size_t>(key.number)})
         : key.isString()             ? ~std::uint64_t{0}
                                      : 0;
}

}  // namespace
}  // namespace ox::cbor

OXCBORDecoder::OXCBORDecoder(std::span<const std::byte> bytes, OXCBORMode mode) noexcept
    : bytes_(bytes), mode_(mode) {
  own_ = Own::decoder;
  failed_ = !open();
}

OXCBORDecoder::OXCBORDecoder(const OXCBORItem& item, OXCBORMode mode) noexcept
    : bytes_(item), mode_(mode), isChecked_(true) {
  own_ = Own::decoder;
  failed_ = !open();
}

bool OXCBORDecoder::allowsKeyedCoding() const {
  return mode_ == OXCBORMode::keyed;
}

// Leaves the contents of the map or the array in `bytes_`. A run whose end is known is not looked
// through yet: reading a record does that on the way.
bool OXCBORDecoder::open() noexcept {
  const bool keyed = mode_ == OXCBORMode::keyed;
  const auto head = bytes_.empty() ? ox::cbor::Head{} : ox::cbor::readHead(bytes_);
  if (head.kind != (keyed ? ox::cbor::Kind::map : ox::cbor::Kind::array)) {
    return !keyed;
  }
  if (head.size > bytes_.size()) {
    return false;
  }
  if (!isChecked_ && (keyed || head.indefinite)) {
    constexpr std::size_t depth = ox::cbor::Scanner::maximumDepth + 1;
    if (ox::cbor::itemSize(bytes_, depth) != bytes_.size()) {
      return false;
    }
    isChecked_ = true;
  }
  bytes_ = bytes_.subspan(head.size).first(bytes_.size() - head.size - (head.indefinite ? 1 : 0));
  isCounted_ = !head.indefinite;
  count_ = head.number;
  return true;
}

// Looks through what was not read yet, once.
void OXCBORDecoder::check() const noexcept {
  if (isChecked_ || failed_) {
    return;
  }
  isChecked_ = true;
  std::uint64_t count = taken_;
  for (auto rest = bytes_.subspan(position_); !rest.empty(); ++count) {
    const std::size_t size = ox::cbor::itemSize(rest);
    if (size == 0) {
      failed_ = true;
      return;
    }
    rest = rest.subspan(size);
  }
  failed_ = isCounted_ && count != count_;
}

bool OXCBORDecoder::hasFailed() const noexcept {
  check();
  return failed_;
}

// The value's position after the first entry under `key` from `from` on, or 0: a value never comes
// first. `from` goes behind that value, and `passed` gets the bits of the keys before it.
std::size_t OXCBORDecoder::search(std::string_view key, std::size_t& from,
                                  std::uint64_t& passed) const noexcept {
  std::size_t position = from;
  std::uint64_t bits = passed;
  ox::cbor::Item item{};
  while (position != bytes_.size()) {
    position += ox::cbor::readItem(bytes_.subspan(position), item);
    const std::size_t value = position;
    bits |= ox::cbor::bitOf(item);
    const bool isFound = ox::cbor::isString(item, key);
    position += ox::cbor::readItem(bytes_.subspan(position), item);
    if (isFound) {
      from = position;
      passed = bits;
      return value;
    }
  }
  return 0;
}

// A key that may have been passed is looked for from the start, because the first one counts.
std::size_t OXCBORDecoder::find(std::string_view key) noexcept {
  if ((passed_ & ox::cbor::bitOf(key)) == 0) {
    return search(key, position_, passed_);
  }
  std::size_t start = 0;
  std::uint64_t bits = 0;
  return search(key, start, bits);
}

std::optional<OXValue> OXCBORDecoder::decodeObjectForKey(std::string_view key) {
  if (mode_ != OXCBORMode::keyed) {
    return std::nullopt;
  }
  if (failed_) {
    return OXMisfit();
  }
  const std::size_t value = find(key);
  if (value == 0) {
    return std::nullopt;
  }
  ox::cbor::Item item{};
  ox::cbor::readItem(bytes_.subspan(value), item);
  failed_ = item.kind == ox::cbor::ItemKind::other;
  return ox::cbor::objectOf(item);
}

std::optional<OXValue> OXCBORDecoder::decodeObject() {
  if (mode_ != OXCBORMode::sequential) {
    return std::nullopt;
  }
  if (isAtEnd()) {
    failed_ = true;
    return OXMisfit();
  }
  ox::cbor::Item item{};
  position_ += ox::cbor::readItem(bytes_.subspan(position_), item);
  failed_ = item.kind == ox::cbor::ItemKind::other;
  return ox::cbor::objectOf(item);
}

bool OXCBORDecoder::isAtEnd() const noexcept {
  return hasFailed() || mode_ != OXCBORMode::sequential || position_ == bytes_.size();
}

void OXCBORDecoder::encodeObjectForKey(const OXValueView& /*object*/, std::string_view /*key*/) {}

void OXCBORDecoder::encodeObject(const OXValueView& /*object*/) {}

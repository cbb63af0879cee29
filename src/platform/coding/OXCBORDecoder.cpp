// SPDX-License-Identifier: MIT

#include "OrvexKit/platform/OXCBORCoder.h"

#include <functional>

#include "platform/coding/CBORItem.h"

namespace ox::cbor {
namespace {

// The same bit for all keys of one text.
std::uint64_t bitOf(std::string_view key) noexcept {
  return std::uint64_t{1} << std::hash<std::string_view>()(key) % 64;
}

}  // namespace
}  // namespace ox::cbor

OXCBORDecoder::OXCBORDecoder(std::span<const std::byte> bytes, OXCBORMode mode) noexcept
    : bytes_(bytes), next_(bytes), mode_(mode) {
  own_ = Own::decoder;
  failed_ = !open();
}

OXCBORDecoder::OXCBORDecoder(const OXCBORItem& item, OXCBORMode mode) noexcept
    : OXCBORDecoder(std::span<const std::byte>(item), mode) {
  isChecked_ = true;
}

bool OXCBORDecoder::allowsKeyedCoding() const {
  return mode_ == OXCBORMode::keyed;
}

// Leaves the contents of the map or the array in `bytes_`; a run stays as it is.
bool OXCBORDecoder::open() noexcept {
  constexpr std::byte breakCode{ox::cbor::firstByte(ox::cbor::Kind::simple, 31)};
  const bool keyed = mode_ == OXCBORMode::keyed;
  const auto head = ox::cbor::headOf(bytes_);
  if (head.kind != (keyed ? ox::cbor::Kind::map : ox::cbor::Kind::array)) {
    return !keyed;
  }
  if (head.size > bytes_.size() || (head.indefinite && bytes_.back() != breakCode)) {
    return false;
  }
  const auto contents = bytes_.first(bytes_.size() - (head.indefinite ? 1 : 0)).subspan(head.size);
  bytes_ = contents;
  next_ = contents;
  if (!head.indefinite) {
    count_ = head.number;
  }
  return true;
}

// Looks through what was not read yet, once: items from the first byte to the last, as many as the
// head says. A record's own reading of a run does a part of it on the way.
bool OXCBORDecoder::hasFailed() const noexcept {
  if (isChecked_ || failed_) {
    return failed_;
  }
  isChecked_ = true;
  bool isCutOff = false;
  std::uint64_t items = 0;
  for (std::span<const std::byte> rest = next_; !isCutOff && !rest.empty(); ++items) {
    isCutOff = ox::cbor::takeItem(rest).bytes.empty();
  }
  const unsigned half = mode_ == OXCBORMode::keyed ? 1 : 0;
  failed_ = isCutOff || (items & half) != 0 || (count_ && *count_ != items >> half);
  return failed_;
}

// The object that comes next in `rest`.
OXValue OXCBORDecoder::give(std::span<const std::byte>& rest) {
  OXValue object = ox::cbor::objectOf(ox::cbor::takeItem(rest).bytes);
  failed_ = std::holds_alternative<OXMisfit>(object);
  return object;
}

// Keys are mostly asked for in the order of writing, so a look-up goes on where the last one ended.
// The first entry under a key counts: one that may have been passed is looked for from the start.
std::optional<OXValue> OXCBORDecoder::decodeObjectForKey(std::string_view key) {
  if (mode_ != OXCBORMode::keyed) {
    return std::nullopt;
  }
  if (hasFailed()) {
    return OXMisfit();
  }
  const bool goesOn = (passed_ & ox::cbor::bitOf(key)) == 0;
  std::uint64_t passed = passed_;
  for (auto rest = goesOn ? next_ : bytes_; !rest.empty(); ox::cbor::takeItem(rest)) {
    const ox::cbor::Item found = ox::cbor::takeItem(rest);
    // A key in chunks, whose text is not at hand, gets all bits.
    passed |= found.head.indefinite ? ~std::uint64_t{0} : ox::cbor::bitOf(ox::cbor::textOf(found));
    if (ox::cbor::isText(found.bytes, key)) {
      OXValue object = give(rest);
      if (goesOn) {
        next_ = rest;
        passed_ = passed;
      }
      return object;
    }
  }
  return std::nullopt;
}

std::optional<OXValue> OXCBORDecoder::decodeObject() {
  if (mode_ != OXCBORMode::sequential) {
    return std::nullopt;
  }
  if (isAtEnd()) {
    failed_ = true;
    return OXMisfit();
  }
  return give(next_);
}

bool OXCBORDecoder::isAtEnd() const noexcept {
  return hasFailed() || mode_ != OXCBORMode::sequential || next_.empty();
}

void OXCBORDecoder::encodeObjectForKey(const OXValueView& /*object*/, std::string_view /*key*/) {}

void OXCBORDecoder::encodeObject(const OXValueView& /*object*/) {}

// SPDX-License-Identifier: MIT

#include "OrvexKit/platform/OXCBORCoder.h"

#include <new>

#include "platform/coding/CBORItem.h"

namespace ox::cbor {
namespace {

constexpr std::size_t firstCapacity = 512;

// Wider than a size on 32-bit processors, where the sum of two strings' may be no size.
std::uint64_t largestSize(const OXValueView& object) noexcept {
  const auto* const string = std::get_if<std::string_view>(&object);
  // What is no string is a date at the most: a tag and a double.
  return longestHead + (string != nullptr ? std::uint64_t{string->size()} : 1);
}

// Not inlined, so that `begin` saves no registers on its usual path. Resizes to the whole capacity,
// so that writing objects neither resizes nor initialises memory.
[[gnu::noinline]] void grow(std::vector<unsigned char>& buffer, std::uint64_t size) {
  if (size > buffer.max_size()) {
    throw std::bad_alloc();
  }
  buffer.resize(static_cast<std::size_t>(size));
  buffer.resize(buffer.capacity());
}

unsigned char* writeAny(unsigned char* to, const OXValueView& object) {
  return std::visit([to](const auto& known) { return write(to, known); }, object);
}

}  // namespace
}  // namespace ox::cbor

OXCBOREncoder::OXCBOREncoder(OXCBORMode mode)
    : mode_(mode), buffer_(ox::cbor::firstCapacity), end_(ox::cbor::longestHead) {
  own_ = Own::encoder;
}

bool OXCBOREncoder::allowsKeyedCoding() const {
  return mode_ == OXCBORMode::keyed;
}

// Begins a new record after `bytes()` or `item()`, and before a second library record in one map,
// which would then have each of its keys twice.
unsigned char* OXCBOREncoder::begin(bool isRecord, std::uint64_t size) {
  if (taken_ || (isRecord && hasRecord_ && mode_ == OXCBORMode::keyed)) {
    reset();
  }
  hasRecord_ = hasRecord_ || isRecord;
  if (size > buffer_.size() - end_) {
    ox::cbor::grow(buffer_, end_ + size);
  }
  return buffer_.data() + end_;
}

void OXCBOREncoder::end(const unsigned char* end, std::size_t objects) noexcept {
  end_ = static_cast<std::size_t>(end - buffer_.data());
  count_ += objects;
}

void OXCBOREncoder::encodeObjectForKey(const OXValueView& object, std::string_view key) {
  if (mode_ == OXCBORMode::keyed) {
    unsigned char* const next =
        begin(false, ox::cbor::largestSize(key) + ox::cbor::largestSize(object));
    end(ox::cbor::writeAny(ox::cbor::write(next, key), object), 1);
  }
}

void OXCBOREncoder::encodeObject(const OXValueView& object) {
  if (mode_ == OXCBORMode::sequential) {
    end(ox::cbor::writeAny(begin(false, ox::cbor::largestSize(object)), object), 1);
  }
}

std::optional<OXValue> OXCBOREncoder::decodeObjectForKey(std::string_view /*key*/) {
  return std::nullopt;
}

std::optional<OXValue> OXCBOREncoder::decodeObject() {
  return std::nullopt;
}

std::span<const std::byte> OXCBOREncoder::bytes() {
  const auto whole = item();
  return mode_ == OXCBORMode::keyed ? whole : whole.last(end_ - ox::cbor::longestHead);
}

// The head is written now, because its length depends on the number of objects.
std::span<const std::byte> OXCBOREncoder::item() {
  const auto kind = mode_ == OXCBORMode::keyed ? ox::cbor::Kind::map : ox::cbor::Kind::array;
  unsigned char* const run = buffer_.data() + ox::cbor::longestHead;
  taken_ = true;
  return std::as_bytes(std::span(ox::cbor::prependHead(run, kind, count_), buffer_.data() + end_));
}

void OXCBOREncoder::reset() noexcept {
  hasRecord_ = false;
  taken_ = false;
  count_ = 0;
  end_ = ox::cbor::longestHead;
}

#include "OrvexKit/platform/OXCBORCoder.h"

#include <algorithm>
#include <array>
#include <new>

#include "platform/coding/CBORItem.h"

namespace ox::cbor {
namespace {

constexpr std::size_t firstCapacity = 512;

// Wider than a size on 32-bit processors, where the sum of two strings' may be no size.
std::uint64_t largestSize(std::string_view string) noexcept {
  return std::uint64_t{longestHead} + string.size();
}

std::uint64_t largestSize(const OXValueView& object) noexcept {
  const auto* const string = std::get_if<std::string_view>(&object);
  return string != nullptr ? largestSize(*string) : longestHead + 1;  // a date: a tag and a double
}

unsigned char* writeNumber(unsigned char* to, const OXNumber& number) noexcept {
  const std::int64_t value = number.signed64Value();
  switch (number.kind()) {
    case OXNumber::Kind::boolean:
      return writeSimple(to, value != 0 ? trueValue : falseValue);
    case OXNumber::Kind::signedInteger:
      if (value < 0) {
        return writeHead(to, Kind::negativeInteger, static_cast<std::uint64_t>(-1 - value));
      }
      break;
    case OXNumber::Kind::floatingPoint:
      return writeDouble(to, number.doubleValue());
    case OXNumber::Kind::unsignedInteger:
      break;
  }
  return writeHead(to, Kind::unsignedInteger, number.unsigned64Value());
}

unsigned char* writeObject(unsigned char* to, const OXValueView& object) noexcept {
  if (const auto* const string = std::get_if<std::string_view>(&object)) {
    return writeString(to, *string);
  }
  if (const auto* const number = std::get_if<OXNumber>(&object)) {
    return writeNumber(to, *number);
  }
  if (const auto* const date = std::get_if<OXDate>(&object)) {
    return writeDate(to, *date);
  }
  return writeSimple(to, std::holds_alternative<OXNull>(object) ? nullValue : undefinedValue);
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

void OXCBOREncoder::startAnewIfTaken() noexcept {
  if (taken_) {
    reset();
  }
}

void OXCBOREncoder::startRecord() noexcept {
  if (taken_ || (hasRecord_ && mode_ == OXCBORMode::keyed)) {
    reset();
  }
  hasRecord_ = true;
}

// The buffer's whole size is room, so that writing into it neither checks nor clears anything.
void OXCBOREncoder::grow(std::uint64_t size) {
  const std::size_t most = buffer_.max_size();
  if (size > most - end_) {
    throw std::bad_alloc();
  }
  const std::size_t doubled = buffer_.size() > most / 2 ? most : buffer_.size() * 2;
  buffer_.resize(std::max(doubled, end_ + static_cast<std::size_t>(size)));
}

void OXCBOREncoder::encodeObjectForKey(const OXValueView& object, std::string_view key) {
  if (mode_ != OXCBORMode::keyed) {
    return;
  }
  startAnewIfTaken();
  unsigned char* const room = roomFor(ox::cbor::largestSize(key) + ox::cbor::largestSize(object));
  unsigned char* const next = ox::cbor::writeString(room, key);
  end_ = static_cast<std::size_t>(ox::cbor::writeObject(next, object) - buffer_.data());
  ++count_;
}

void OXCBOREncoder::encodeObject(const OXValueView& object) {
  if (mode_ != OXCBORMode::sequential) {
    return;
  }
  startAnewIfTaken();
  unsigned char* const room = roomFor(ox::cbor::largestSize(object));
  end_ = static_cast<std::size_t>(ox::cbor::writeObject(room, object) - buffer_.data());
  ++count_;
}

std::optional<OXValue> OXCBOREncoder::decodeObjectForKey(std::string_view /*key*/) {
  return std::nullopt;
}

std::optional<OXValue> OXCBOREncoder::decodeObject() {
  return std::nullopt;
}

std::span<const std::byte> OXCBOREncoder::bytes() {
  if (mode_ == OXCBORMode::keyed) {
    return item();
  }
  taken_ = hasRecord_;
  return std::as_bytes(
      std::span(buffer_).subspan(ox::cbor::longestHead, end_ - ox::cbor::longestHead));
}

// How long the head is, is known only now: it is put right before the run.
std::span<const std::byte> OXCBOREncoder::item() {
  std::array<unsigned char, ox::cbor::longestHead> head;
  const auto kind = mode_ == OXCBORMode::keyed ? ox::cbor::Kind::map : ox::cbor::Kind::array;
  const auto size =
      static_cast<std::size_t>(ox::cbor::writeHead(head.data(), kind, count_) - head.data());
  const std::size_t start = ox::cbor::longestHead - size;
  std::copy_n(head.data(), size, buffer_.data() + start);
  taken_ = hasRecord_;
  return std::as_bytes(std::span(buffer_).subspan(start, end_ - start));
}

void OXCBOREncoder::reset() noexcept {
  hasRecord_ = false;
  taken_ = false;
  count_ = 0;
  end_ = ox::cbor::longestHead;
}

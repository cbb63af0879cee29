#include <cbor.h>
#include "OrvexKit/platform/OXCBORCoder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/UTF8.h"

namespace {

constexpr std::size_t longestHead = 9;
constexpr std::size_t longestScalar = 1 + longestHead;  // a date: a tag and a double
constexpr std::size_t firstCapacity = 512;

std::size_t largestSize(std::string_view string) noexcept {
  return longestHead + string.size();
}

std::size_t largestSize(const OXValueView& object) noexcept {
  const auto* const string = std::get_if<std::string_view>(&object);
  return string != nullptr ? largestSize(*string) : longestScalar;
}

// Where the next data item goes; there is room for it.
class Output {
 public:
  explicit Output(unsigned char* next) noexcept : next_(next) {}
  unsigned char* next() const noexcept { return next_; }

  void put(std::string_view string) noexcept {
    const bool isText = ox::utf8::isValid(string);
    if (string.size() < 24) {
      // A head of one byte, as all keys have: calling the library takes longer than all the rest.
      *next_ = static_cast<unsigned char>((isText ? 0x60U : 0x40U) | string.size());
      ++next_;
    } else if (isText) {
      next_ += cbor_encode_string_start(string.size(), next_, longestHead);
    } else {
      next_ += cbor_encode_bytestring_start(string.size(), next_, longestHead);
    }
    next_ += string.copy(reinterpret_cast<char*>(next_), string.size());
  }

  void put(const OXValueView& object) noexcept {
    if (const auto* const string = std::get_if<std::string_view>(&object)) {
      put(*string);
    } else if (const auto* const number = std::get_if<OXNumber>(&object)) {
      put(*number);
    } else if (const auto* const date = std::get_if<OXDate>(&object)) {
      constexpr std::uint64_t epochDate = 1;
      next_ += cbor_encode_tag(epochDate, next_, longestHead);
      next_ += cbor_encode_double(date->time_since_epoch().count(), next_, longestHead);
    } else {
      next_ += cbor_encode_null(next_, longestHead);
    }
  }

 private:
  void put(const OXNumber& number) noexcept {
    switch (number.kind()) {
      case OXNumber::Kind::boolean:
        next_ += cbor_encode_bool(number.boolValue(), next_, longestHead);
        return;
      case OXNumber::Kind::signedInteger:
        put(number.signed64Value());
        return;
      case OXNumber::Kind::unsignedInteger:
        next_ += cbor_encode_uint(number.unsigned64Value(), next_, longestHead);
        return;
      case OXNumber::Kind::floatingPoint:
        next_ += cbor_encode_double(number.doubleValue(), next_, longestHead);
        return;
    }
  }

  void put(std::int64_t value) noexcept {
    if (value >= 0) {
      next_ += cbor_encode_uint(static_cast<std::uint64_t>(value), next_, longestHead);
    } else {
      next_ += cbor_encode_negint(static_cast<std::uint64_t>(-1 - value), next_, longestHead);
    }
  }

  unsigned char* next_;
};

}  // namespace

OXCBOREncoder::OXCBOREncoder(OXCBORMode mode)
    : mode_(mode), buffer_(firstCapacity), end_(longestHead) {}

bool OXCBOREncoder::allowsKeyedCoding() const {
  return mode_ == OXCBORMode::keyed;
}

// The buffer's whole size is room, so that writing into it neither checks nor clears anything.
void OXCBOREncoder::grow(std::size_t size) {
  const std::size_t most = buffer_.max_size();
  if (size > most - end_) {
    throw std::bad_alloc();
  }
  const std::size_t doubled = buffer_.size() > most / 2 ? most : buffer_.size() * 2;
  buffer_.resize(std::max(doubled, end_ + size));
}

void OXCBOREncoder::encodeObjectForKey(const OXValueView& object, std::string_view key) {
  if (mode_ != OXCBORMode::keyed) {
    return;
  }
  const std::size_t size = largestSize(key) + largestSize(object);
  if (size > buffer_.size() - end_) {
    grow(size);
  }
  Output output(buffer_.data() + end_);
  output.put(key);
  output.put(object);
  end_ = static_cast<std::size_t>(output.next() - buffer_.data());
  ++count_;
}

void OXCBOREncoder::encodeObject(const OXValueView& object) {
  if (mode_ != OXCBORMode::sequential) {
    return;
  }
  const std::size_t size = largestSize(object);
  if (size > buffer_.size() - end_) {
    grow(size);
  }
  Output output(buffer_.data() + end_);
  output.put(object);
  end_ = static_cast<std::size_t>(output.next() - buffer_.data());
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
  return std::as_bytes(std::span(buffer_).subspan(longestHead, end_ - longestHead));
}

// How long the head is, is known only now: it is put right before the run.
std::span<const std::byte> OXCBOREncoder::item() {
  std::array<unsigned char, longestHead> head;
  const std::size_t size = mode_ == OXCBORMode::keyed
                               ? cbor_encode_map_start(count_, head.data(), head.size())
                               : cbor_encode_array_start(count_, head.data(), head.size());
  const std::size_t start = longestHead - size;
  std::copy_n(head.data(), size, buffer_.data() + start);
  return std::as_bytes(std::span(buffer_).subspan(start, end_ - start));
}

void OXCBOREncoder::reset() noexcept {
  count_ = 0;
  end_ = longestHead;
}

#include <cbor.h>
#include "OrvexKit/platform/OXCBORCoder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <new>

#include "platform/coding/UTF8.h"

namespace {

constexpr std::size_t longestHead = 9;
constexpr std::size_t longestScalar = 1 + longestHead;  // a date: a tag and a double
constexpr std::size_t firstCapacity = 512;

// The major types, where they stand in a head.
constexpr unsigned unsignedInteger = 0x00;
constexpr unsigned negativeInteger = 0x20;
constexpr unsigned byteString = 0x40;
constexpr unsigned textString = 0x60;
constexpr unsigned array = 0x80;
constexpr unsigned map = 0xA0;
constexpr unsigned tag = 0xC0;

constexpr unsigned char falseHead = 0xF4;
constexpr unsigned char trueHead = 0xF5;
constexpr unsigned char doubleHead = 0xFB;

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

  void putHead(unsigned type, std::uint64_t argument) noexcept {
    if (argument < 24) {
      *next_ = static_cast<unsigned char>(type | argument);
      ++next_;
      return;
    }
    // The argument has 1, 2, 4 or 8 bytes, for which 24 to 27 stand.
    const unsigned power = argument <= 0xFF         ? 0
                           : argument <= 0xFFFF     ? 1
                           : argument <= 0xFFFFFFFF ? 2
                                                    : 3;
    const std::size_t size = std::size_t{1} << power;
    *next_ = static_cast<unsigned char>(type | (24 + power));
    putBigEndian(argument << (64 - 8 * size));
    next_ += 1 + size;
  }

  void put(std::string_view string) noexcept {
    putHead(ox::utf8::isValid(string) ? textString : byteString, string.size());
    next_ += string.copy(reinterpret_cast<char*>(next_), string.size());
  }

  void put(const OXValueView& object) noexcept {
    if (const auto* const string = std::get_if<std::string_view>(&object)) {
      put(*string);
    } else if (const auto* const number = std::get_if<OXNumber>(&object)) {
      put(*number);
    } else if (const auto* const date = std::get_if<OXDate>(&object)) {
      constexpr std::uint64_t epochDate = 1;
      putHead(tag, epochDate);
      put(date->time_since_epoch().count());
    } else {
      next_ += cbor_encode_null(next_, longestHead);
    }
  }

 private:
  void put(const OXNumber& number) noexcept {
    switch (number.kind()) {
      case OXNumber::Kind::boolean:
        *next_ = number.boolValue() ? trueHead : falseHead;
        ++next_;
        return;
      case OXNumber::Kind::signedInteger:
        put(number.signed64Value());
        return;
      case OXNumber::Kind::unsignedInteger:
        put(number.unsigned64Value());
        return;
      case OXNumber::Kind::floatingPoint:
        put(number.doubleValue());
        return;
    }
  }

  // What records mostly hold is written here: calling the library takes longer.
  void put(std::uint64_t value) noexcept { putHead(unsignedInteger, value); }

  void put(double value) noexcept {
    if (std::isnan(value)) {
      // Which bits stand for it is the library's choice.
      next_ += cbor_encode_double(value, next_, longestHead);
    } else {
      *next_ = doubleHead;
      putBigEndian(std::bit_cast<std::uint64_t>(value));
      next_ += longestHead;
    }
  }

  // Right behind the next byte: there is room for the longest head.
  void putBigEndian(std::uint64_t bits) noexcept {
    if constexpr (std::endian::native == std::endian::little) {
      bits = __builtin_bswap64(bits);
    }
    std::memcpy(next_ + 1, &bits, sizeof bits);
  }

  void put(std::int64_t value) noexcept {
    if (value >= 0) {
      put(static_cast<std::uint64_t>(value));
    } else {
      putHead(negativeInteger, static_cast<std::uint64_t>(-1 - value));
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
  Output output(head.data());
  output.putHead(mode_ == OXCBORMode::keyed ? map : array, count_);
  const auto size = static_cast<std::size_t>(output.next() - head.data());
  const std::size_t start = longestHead - size;
  std::copy_n(head.data(), size, buffer_.data() + start);
  return std::as_bytes(std::span(buffer_).subspan(start, end_ - start));
}

void OXCBOREncoder::reset() noexcept {
  count_ = 0;
  end_ = longestHead;
}

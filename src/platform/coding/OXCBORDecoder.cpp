#include "OrvexKit/platform/OXCBORCoder.h"
#include "platform/coding/CBORItem.h"

OXCBORDecoder::OXCBORDecoder(std::span<const std::byte> bytes, OXCBORMode mode) noexcept
    : bytes_(bytes), mode_(mode) {
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
  const bool keyed = mode_ == OXCBORMode::keyed;
  const auto head = bytes_.empty() ? ox::cbor::Head{} : ox::cbor::readHead(bytes_);
  if (head.kind != (keyed ? ox::cbor::Kind::map : ox::cbor::Kind::array)) {
    return !keyed;
  }
  if (head.size > bytes_.size()) {
    return false;
  }
  bytes_ = bytes_.subspan(head.size);
  if (!head.indefinite) {
    count_ = head.number;
    return true;
  }
  constexpr std::byte breakCode{0xFF};
  if (bytes_.empty() || bytes_.back() != breakCode) {
    return false;
  }
  bytes_ = bytes_.first(bytes_.size() - 1);
  return true;
}

// Looks through what was not read yet, once: items from the first byte to the last, as many as the
// head says. A record's own reading of a run does a part of it on the way.
void OXCBORDecoder::check() const noexcept {
  if (isChecked_ || failed_) {
    return;
  }
  isChecked_ = true;
  std::uint64_t items = taken_;
  for (std::span<const std::byte> rest = bytes_; !rest.empty(); ++items) {
    if (ox::cbor::takeItem(rest).head.kind == ox::cbor::Kind::malformed) {
      failed_ = true;
      return;
    }
  }
  const std::uint64_t each = mode_ == OXCBORMode::keyed ? 2 : 1;
  failed_ = items % each != 0 || (count_ && *count_ != items / each);
}

bool OXCBORDecoder::hasFailed() const noexcept {
  check();
  return failed_;
}

// The object that comes next in `rest`.
OXValue OXCBORDecoder::give(std::span<const std::byte>& rest) {
  OXValue object = ox::cbor::objectOf(ox::cbor::takeItem(rest));
  failed_ = std::holds_alternative<OXMisfit>(object);
  return object;
}

std::optional<OXValue> OXCBORDecoder::decodeObjectForKey(std::string_view key) {
  if (mode_ != OXCBORMode::keyed) {
    return std::nullopt;
  }
  if (hasFailed()) {
    return OXMisfit();
  }
  for (std::span<const std::byte> rest = bytes_; !rest.empty(); ox::cbor::takeItem(rest)) {
    if (ox::cbor::isText(ox::cbor::takeItem(rest), key)) {
      return give(rest);
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
  return give(bytes_);
}

bool OXCBORDecoder::isAtEnd() const noexcept {
  return hasFailed() || mode_ != OXCBORMode::sequential || bytes_.empty();
}

void OXCBORDecoder::encodeObjectForKey(const OXValueView& /*object*/, std::string_view /*key*/) {}

void OXCBORDecoder::encodeObject(const OXValueView& /*object*/) {}

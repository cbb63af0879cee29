// SPDX-License-Identifier: MIT

#include "OrvexKit/platform/OXValue.h"

#include <bit>
#include <cmath>
#include <limits>

namespace ox {
namespace {

// The integer that C's conversion gives where it is defined, and the nearest limit where it is not.
template <typename Integer>
Integer truncated(double value) noexcept {
  using Limits = std::numeric_limits<Integer>;
  // The first double above the range; the greatest integer itself may be none.
  constexpr double above = 2.0 * static_cast<double>(Integer{1} << (Limits::digits - 1));
  if (std::isnan(value)) {
    return 0;
  }
  if (value >= above) {
    return Limits::max();
  }
  return value <= static_cast<double>(Limits::min()) ? Limits::min() : static_cast<Integer>(value);
}

template <typename Integer>
Integer converted(const OXNumber& number) noexcept {
  return number.kind() == OXNumber::Kind::floatingPoint
             ? truncated<Integer>(number.doubleValue())
             : static_cast<Integer>(number.unsigned64Value());
}

}  // namespace
}  // namespace ox

bool OXNumber::boolValue() const noexcept {
  return kind_ == Kind::floatingPoint ? bits_.asDouble != 0.0 : unsigned64Value() != 0;
}

std::int64_t OXNumber::signed64Value() const noexcept {
  return ox::converted<std::int64_t>(*this);
}

std::uint64_t OXNumber::unsigned64Value() const noexcept {
  return kind_ == Kind::floatingPoint ? ox::truncated<std::uint64_t>(bits_.asDouble)
                                      : std::bit_cast<std::uint64_t>(bits_);
}

std::uint32_t OXNumber::unsigned32Value() const noexcept {
  return ox::converted<std::uint32_t>(*this);
}

std::intptr_t OXNumber::signedWordValue() const noexcept {
  return ox::converted<std::intptr_t>(*this);
}

double OXNumber::doubleValue() const noexcept {
  switch (kind_) {
    case Kind::floatingPoint:
      return bits_.asDouble;
    case Kind::signedInteger:
      return static_cast<double>(bits_.asSigned);
    default:
      return static_cast<double>(bits_.asUnsigned);
  }
}

#include "OrvexKit/platform/OXValue.h"

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
  if (value <= static_cast<double>(Limits::min())) {
    return Limits::min();
  }
  return static_cast<Integer>(value);
}

}  // namespace
}  // namespace ox

bool OXNumber::boolValue() const noexcept {
  return kind_ == Kind::floatingPoint ? bits_.asDouble != 0.0 : unsigned64Value() != 0;
}

std::int64_t OXNumber::signed64Value() const noexcept {
  return kind_ == Kind::floatingPoint ? ox::truncated<std::int64_t>(bits_.asDouble)
                                      : static_cast<std::int64_t>(unsigned64Value());
}

std::uint64_t OXNumber::unsigned64Value() const noexcept {
  switch (kind_) {
    case Kind::floatingPoint:
      return ox::truncated<std::uint64_t>(bits_.asDouble);
    case Kind::signedInteger:
      return static_cast<std::uint64_t>(bits_.asSigned);
    case Kind::boolean:
    case Kind::unsignedInteger:
      break;
  }
  return bits_.asUnsigned;
}

std::uint32_t OXNumber::unsigned32Value() const noexcept {
  return kind_ == Kind::floatingPoint ? ox::truncated<std::uint32_t>(bits_.asDouble)
                                      : static_cast<std::uint32_t>(unsigned64Value());
}

std::intptr_t OXNumber::signedWordValue() const noexcept {
  return kind_ == Kind::floatingPoint ? ox::truncated<std::intptr_t>(bits_.asDouble)
                                      : static_cast<std::intptr_t>(unsigned64Value());
}

double OXNumber::doubleValue() const noexcept {
  switch (kind_) {
    case Kind::floatingPoint:
      return bits_.asDouble;
    case Kind::signedInteger:
      return static_cast<double>(bits_.asSigned);
    case Kind::boolean:
    case Kind::unsignedInteger:
      break;
  }
  return static_cast<double>(bits_.asUnsigned);
}

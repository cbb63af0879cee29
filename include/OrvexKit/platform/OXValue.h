// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXDate.h>
#include <OrvexKit/platform/OXExport.h>

#include <compare>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

/// \addtogroup coding
/// \{

/// The null marker: an object that stands for no object where one is required.
struct OXNull {
  friend bool operator==(OXNull, OXNull) = default;  ///< All null markers are equal.
};

/// What a coder returns for data that is no object, such as an array or damaged bytes. No field
/// takes it, so the record is refused. Neither the null marker nor the absence of an object.
struct OXMisfit {
  friend bool operator==(OXMisfit, OXMisfit) = default;  ///< All misfits are equal.
};

/// A number that remembers the kind it was boxed as and can be read as any other. Converts as C
/// does where C defines it: integers wrap, a double loses its fraction, every number but 0 is true.
/// A double out of range gives the nearest limit; not-a-number gives 0, and true as a boolean.
///
///     OXNumber(std::uint64_t{1} << 32).unsigned32Value()  => 0
///     OXNumber(-1.5).signed64Value()                      => -1
///     OXNumber(1e300).unsigned64Value()                   => 18446744073709551615
///     OXNumber(-1.0).unsigned64Value()                    => 0
class OX_EXPORT OXNumber {
 public:
  /// What a number was boxed as.
  enum class Kind : std::uint8_t {
    boolean,          ///< From `bool`.
    signedInteger,    ///< From any signed integer type.
    unsignedInteger,  ///< From any unsigned integer type.
    floatingPoint,    ///< From `double`, or a type that is converted to it.
  };

  /// Boxes a boolean. Nothing else converts to it: a pointer is no boolean.
  template <std::same_as<bool> Boolean>
  explicit OXNumber(Boolean value) noexcept : bits_{.asUnsigned = value ? 1U : 0U} {}
  /// Boxes a signed integer.
  template <std::signed_integral Integer>
  requires(sizeof(Integer) <= sizeof(std::int64_t)) explicit OXNumber(Integer value) noexcept
      : kind_(Kind::signedInteger), bits_{.asSigned = value} {}
  /// Boxes an unsigned integer.
  template <std::unsigned_integral Integer>
  requires(sizeof(Integer) <= sizeof(std::uint64_t) &&
           !std::same_as<Integer, bool>) explicit OXNumber(Integer value) noexcept
      : kind_(Kind::unsignedInteger), bits_{.asUnsigned = value} {}
  /// Boxes a floating-point number.
  template <std::floating_point Real>
  explicit OXNumber(Real value) noexcept
      : kind_(Kind::floatingPoint), bits_{.asDouble = static_cast<double>(value)} {}

  /// The kind that the number was boxed as.
  Kind kind() const noexcept { return kind_; }

  bool boolValue() const noexcept;                 ///< The number as a boolean.
  std::int64_t signed64Value() const noexcept;     ///< The number as 64 bits signed.
  std::uint64_t unsigned64Value() const noexcept;  ///< The number as 64 bits unsigned.
  std::uint32_t unsigned32Value() const noexcept;  ///< The number as 32 bits unsigned.
  std::intptr_t signedWordValue() const noexcept;  ///< The number as a signed word.
  double doubleValue() const noexcept;             ///< The number as a double.

 private:
  Kind kind_ = Kind::boolean;
  union {
    std::int64_t asSigned;
    std::uint64_t asUnsigned;
    double asDouble;
  } bits_;
};

/// An object as a coder returns it. No object is an empty `std::optional<OXValue>`, not `OXNull`.
using OXValue = std::variant<OXNull, std::string, OXDate, OXNumber, OXMisfit>;

/// An object as a coder takes it, without a copy of the string. The string, or the `OXValue` that
/// the view is made from, must outlive the view.
class OXValueView : public std::variant<OXNull, std::string_view, OXDate, OXNumber, OXMisfit> {
 public:
  using variant::variant;

  /// A view of `value`.
  OXValueView(const OXValue& value)
      : OXValueView(std::visit([](const auto& object) { return OXValueView(object); }, value)) {}
};
/// \}

// The objects that a coder writes and reads: the null marker, strings, dates, numbers, and one kind
// for whatever else a coder finds.

#pragma once

#include <OrvexKit/platform/OXDate.h>
#include <OrvexKit/platform/OXExport.h>

#include <compare>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

// The null marker: an object that stands for no object, where there has to be one.
struct OXNull {
  // One null marker is like the other.
  friend bool operator==(OXNull, OXNull) = default;
};

// An object that no field takes: what a coder reads in place of an array, say, or where its bytes
// are damaged. It is neither the null marker nor no object, so no record comes of it.
struct OXMisfit {
  // One misfit is like the other.
  friend bool operator==(OXMisfit, OXMisfit) = default;
};

// A boxed number, which remembers as what kind it was boxed and can be read as any other.
//
// Reading converts as C does where C defines it: integers wrap to the width that is asked for, a
// double loses its fraction, and every number but 0 is true. Where C leaves it open the answer is
// fixed: a double beyond the range of the kind that is asked for gives that kind's nearest limit,
// and not-a-number gives 0 (and true as a boolean, as it is not 0).
//
//   OXNumber(std::uint64_t{1} << 32).unsigned32Value()  => 0
//   OXNumber(-1.5).signed64Value()                      => -1
//   OXNumber(1e300).unsigned64Value()                   => 18446744073709551615
//   OXNumber(-1.0).unsigned64Value()                    => 0
class OX_EXPORT OXNumber {
 public:
  // What a number was boxed as.
  enum class Kind : std::uint8_t {
    boolean,          // from `bool`
    signedInteger,    // from any signed integer type
    unsignedInteger,  // from any unsigned integer type
    floatingPoint,    // from `double`, or a type that is converted to it
  };

  // Boxes `value`, as the kind that its type stands for. Nothing else converts: a pointer is no
  // boolean.
  template <std::same_as<bool> Boolean>
  explicit OXNumber(Boolean value) noexcept : bits_{.asUnsigned = value ? 1U : 0U} {}
  template <std::signed_integral Integer>
  requires(sizeof(Integer) <= sizeof(std::int64_t)) explicit OXNumber(Integer value) noexcept
      : kind_(Kind::signedInteger), bits_{.asSigned = value} {}
  template <std::unsigned_integral Integer>
  requires(sizeof(Integer) <= sizeof(std::uint64_t) &&
           !std::same_as<Integer, bool>) explicit OXNumber(Integer value) noexcept
      : kind_(Kind::unsignedInteger), bits_{.asUnsigned = value} {}
  template <std::floating_point Real>
  explicit OXNumber(Real value) noexcept
      : kind_(Kind::floatingPoint), bits_{.asDouble = static_cast<double>(value)} {}

  // What the number was boxed as.
  Kind kind() const noexcept { return kind_; }

  // The number, converted to the type of the result as said above.
  bool boolValue() const noexcept;
  std::int64_t signed64Value() const noexcept;
  std::uint64_t unsigned64Value() const noexcept;
  std::uint32_t unsigned32Value() const noexcept;
  std::intptr_t signedWordValue() const noexcept;
  double doubleValue() const noexcept;

 private:
  Kind kind_ = Kind::boolean;
  union {
    std::int64_t asSigned;
    std::uint64_t asUnsigned;
    double asDouble;
  } bits_;
};

// An object as a coder gives it. No object at all is a `std::optional<OXValue>` without a value,
// and is something else than the null marker.
using OXValue = std::variant<OXNull, std::string, OXDate, OXNumber, OXMisfit>;

// An object as a coder takes it: the string is only looked at, and copied by the coder if it keeps
// it. It is a variant as `OXValue` is, and can be made from one, which must outlive it.
class OXValueView : public std::variant<OXNull, std::string_view, OXDate, OXNumber, OXMisfit> {
 public:
  using variant::variant;

  // A look at `value`.
  OXValueView(const OXValue& value)
      : OXValueView(std::visit([](const auto& object) { return OXValueView(object); }, value)) {}
};

// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "OrvexKit/platform/OXValue.h"

namespace {

using Kind = OXNumber::Kind;
using Signed64 = std::numeric_limits<std::int64_t>;
using Unsigned64 = std::numeric_limits<std::uint64_t>;
using Unsigned32 = std::numeric_limits<std::uint32_t>;
using Word = std::numeric_limits<std::intptr_t>;
using Double = std::numeric_limits<double>;

constexpr double two31 = 2147483648.0;
constexpr double two32 = 4294967296.0;
constexpr double two53 = 9007199254740992.0;
constexpr double two63 = 9223372036854775808.0;
constexpr double two64 = 18446744073709551616.0;
constexpr double belowTwo63 = 9223372036854774784.0;
constexpr double belowTwo64 = 18446744073709549568.0;

struct NumberRow {
  const char* name;
  OXNumber number;
  Kind kind;
  bool asBool;
  std::int64_t asSigned64;
  std::uint64_t asUnsigned64;
  std::uint32_t asUnsigned32;
  double asDouble;
};

const NumberRow numberRows[] = {
    {"false", OXNumber(false), Kind::boolean, false, 0, 0, 0, 0.0},
    {"true", OXNumber(true), Kind::boolean, true, 1, 1, 1, 1.0},

    {"0, 32 bits", OXNumber(std::int32_t{0}), Kind::signedInteger, false, 0, 0, 0, 0.0},
    {"-1, 32 bits", OXNumber(std::int32_t{-1}), Kind::signedInteger, true, -1, Unsigned64::max(),
     Unsigned32::max(), -1.0},
    {"least of 32 bits", OXNumber(std::numeric_limits<std::int32_t>::min()), Kind::signedInteger,
     true, -2147483648, 18446744071562067968U, 2147483648U, -two31},
    {"-1, 64 bits", OXNumber(std::int64_t{-1}), Kind::signedInteger, true, -1, Unsigned64::max(),
     Unsigned32::max(), -1.0},
    {"least signed", OXNumber(Signed64::min()), Kind::signedInteger, true, Signed64::min(),
     std::uint64_t{1} << 63U, 0, -two63},
    {"greatest signed", OXNumber(Signed64::max()), Kind::signedInteger, true, Signed64::max(),
     9223372036854775807U, Unsigned32::max(), two63},
    {"2^32, signed", OXNumber(std::int64_t{1} << 32), Kind::signedInteger, true, 4294967296,
     4294967296U, 0, two32},

    {"greatest of 32 bits", OXNumber(Unsigned32::max()), Kind::unsignedInteger, true, 4294967295,
     4294967295U, Unsigned32::max(), 4294967295.0},
    {"0, unsigned", OXNumber(std::uint64_t{0}), Kind::unsignedInteger, false, 0, 0, 0, 0.0},
    {"2^32, unsigned", OXNumber(std::uint64_t{1} << 32U), Kind::unsignedInteger, true, 4294967296,
     4294967296U, 0, two32},
    {"2^32 + 7", OXNumber((std::uint64_t{1} << 32U) + 7), Kind::unsignedInteger, true, 4294967303,
     4294967303U, 7, two32 + 7},
    {"2^53 + 1", OXNumber((std::uint64_t{1} << 53U) + 1), Kind::unsignedInteger, true,
     9007199254740993, 9007199254740993U, 1, two53},
    {"2^63", OXNumber(std::uint64_t{1} << 63U), Kind::unsignedInteger, true, Signed64::min(),
     std::uint64_t{1} << 63U, 0, two63},
    {"greatest unsigned", OXNumber(Unsigned64::max()), Kind::unsignedInteger, true, -1,
     Unsigned64::max(), Unsigned32::max(), two64},

    {"0.0", OXNumber(0.0), Kind::floatingPoint, false, 0, 0, 0, 0.0},
    {"-0.0", OXNumber(-0.0), Kind::floatingPoint, false, 0, 0, 0, -0.0},
    {"0.5", OXNumber(0.5), Kind::floatingPoint, true, 0, 0, 0, 0.5},
    {"-0.5", OXNumber(-0.5), Kind::floatingPoint, true, 0, 0, 0, -0.5},
    {"least above 0", OXNumber(Double::denorm_min()), Kind::floatingPoint, true, 0, 0, 0,
     Double::denorm_min()},
    {"1.999", OXNumber(1.999), Kind::floatingPoint, true, 1, 1, 1, 1.999},
    {"-1.0", OXNumber(-1.0), Kind::floatingPoint, true, -1, 0, 0, -1.0},
    {"-1.5", OXNumber(-1.5), Kind::floatingPoint, true, -1, 0, 0, -1.5},
    {"2^32 - 0.5", OXNumber(two32 - 0.5), Kind::floatingPoint, true, 4294967295, 4294967295U,
     Unsigned32::max(), two32 - 0.5},
    {"2^32 as a double", OXNumber(two32), Kind::floatingPoint, true, 4294967296, 4294967296U,
     Unsigned32::max(), two32},
    {"below 2^63", OXNumber(belowTwo63), Kind::floatingPoint, true, 9223372036854774784,
     9223372036854774784U, Unsigned32::max(), belowTwo63},
    {"2^63 as a double", OXNumber(two63), Kind::floatingPoint, true, Signed64::max(),
     std::uint64_t{1} << 63U, Unsigned32::max(), two63},
    {"-2^63 as a double", OXNumber(-two63), Kind::floatingPoint, true, Signed64::min(), 0, 0,
     -two63},
    {"below -2^63", OXNumber(-two63 - 2048.0), Kind::floatingPoint, true, Signed64::min(), 0, 0,
     -two63 - 2048.0},
    {"below 2^64", OXNumber(belowTwo64), Kind::floatingPoint, true, Signed64::max(),
     18446744073709549568U, Unsigned32::max(), belowTwo64},
    {"2^64 as a double", OXNumber(two64), Kind::floatingPoint, true, Signed64::max(),
     Unsigned64::max(), Unsigned32::max(), two64},
    {"1e300", OXNumber(1e300), Kind::floatingPoint, true, Signed64::max(), Unsigned64::max(),
     Unsigned32::max(), 1e300},
    {"-1e300", OXNumber(-1e300), Kind::floatingPoint, true, Signed64::min(), 0, 0, -1e300},
    {"infinity", OXNumber(Double::infinity()), Kind::floatingPoint, true, Signed64::max(),
     Unsigned64::max(), Unsigned32::max(), Double::infinity()},
    {"-infinity", OXNumber(-Double::infinity()), Kind::floatingPoint, true, Signed64::min(), 0, 0,
     -Double::infinity()},
};

TEST(Number, ConvertsBetweenItsKinds) {
  for (const NumberRow& row : numberRows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.number.kind(), row.kind);
    EXPECT_EQ(row.number.boolValue(), row.asBool);
    EXPECT_EQ(row.number.signed64Value(), row.asSigned64);
    EXPECT_EQ(row.number.unsigned64Value(), row.asUnsigned64);
    EXPECT_EQ(row.number.unsigned32Value(), row.asUnsigned32);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(row.number.doubleValue()),
              std::bit_cast<std::uint64_t>(row.asDouble));
  }
}

TEST(Number, IsNotANumberAndYetConverts) {
  for (const double nan : {Double::quiet_NaN(), -Double::quiet_NaN(), Double::signaling_NaN()}) {
    const OXNumber number(nan);
    EXPECT_EQ(number.kind(), Kind::floatingPoint);
    EXPECT_TRUE(number.boolValue());
    EXPECT_EQ(number.signed64Value(), 0);
    EXPECT_EQ(number.unsigned64Value(), 0U);
    EXPECT_EQ(number.unsigned32Value(), 0U);
    EXPECT_EQ(number.signedWordValue(), 0);
    EXPECT_TRUE(std::isnan(number.doubleValue()));
  }
}

// A word has the processor's width: an integer wraps to it, a double is clamped to its limits.
TEST(Number, ConvertsToASignedWord) {
  for (const NumberRow& row : numberRows) {
    SCOPED_TRACE(row.name);
    const bool fromDouble = row.kind == Kind::floatingPoint;
    const auto wrapped = static_cast<std::intptr_t>(row.asUnsigned64);
    const std::int64_t kept =
        std::min<std::int64_t>(std::max<std::int64_t>(row.asSigned64, Word::min()), Word::max());
    EXPECT_EQ(row.number.signedWordValue(), fromDouble ? kept : wrapped);
  }
}

// A value that is not a number is not boxed, in particular not as true.
static_assert(!std::is_constructible_v<OXNumber, const char*>);
static_assert(!std::is_constructible_v<OXNumber, const char (&)[4]>);
static_assert(!std::is_constructible_v<OXNumber, int*>);
static_assert(!std::is_constructible_v<OXNumber, std::nullptr_t>);
static_assert(!std::is_constructible_v<OXNumber, std::string>);
static_assert(!std::is_convertible_v<int, OXNumber>);

TEST(Number, IsMadeFromEveryTypeOfNumber) {
  struct Row {
    const char* type;
    OXNumber number;
    Kind kind;
    std::int64_t value;
  };
  const Row rows[] = {
      {"bool", OXNumber(true), Kind::boolean, 1},
      {"signed char", OXNumber(static_cast<signed char>(-1)), Kind::signedInteger, -1},
      {"unsigned char", OXNumber(static_cast<unsigned char>(255)), Kind::unsignedInteger, 255},
      {"short", OXNumber(static_cast<short>(-2)), Kind::signedInteger, -2},
      {"unsigned short", OXNumber(static_cast<unsigned short>(2)), Kind::unsignedInteger, 2},
      {"int", OXNumber(-3), Kind::signedInteger, -3},
      {"unsigned", OXNumber(3U), Kind::unsignedInteger, 3},
      {"long", OXNumber(-4L), Kind::signedInteger, -4},
      {"unsigned long", OXNumber(4UL), Kind::unsignedInteger, 4},
      {"long long", OXNumber(-5LL), Kind::signedInteger, -5},
      {"unsigned long long", OXNumber(5ULL), Kind::unsignedInteger, 5},
      {"greatest long long", OXNumber(Signed64::max() + 0LL), Kind::signedInteger, Signed64::max()},
      {"float", OXNumber(6.5F), Kind::floatingPoint, 6},
      {"double", OXNumber(7.5), Kind::floatingPoint, 7},
      {"long double", OXNumber(8.5L), Kind::floatingPoint, 8},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.type);
    EXPECT_EQ(row.number.kind(), row.kind);
    EXPECT_EQ(row.number.signed64Value(), row.value);
  }
}

TEST(Number, IsOneOfTheKindsOfAnObject) {
  const OXValue object = OXNumber(std::uint32_t{7});
  ASSERT_TRUE(std::holds_alternative<OXNumber>(object));
  EXPECT_EQ(std::get<OXNumber>(object).unsigned32Value(), 7U);
  EXPECT_TRUE(std::holds_alternative<OXNull>(OXValue()));
  EXPECT_EQ(OXNull(), OXNull());
  EXPECT_EQ(OXMisfit(), OXMisfit());
}

// A decoded object can be encoded unchanged.
TEST(Value, IsLookedAtAsAView) {
  const OXValue text = std::string("docs");
  const OXValueView view = text;
  EXPECT_EQ(std::get<std::string_view>(view).data(), std::get<std::string>(text).data());
  EXPECT_EQ(std::get<std::string_view>(view), "docs");
  EXPECT_TRUE(std::holds_alternative<OXNull>(OXValueView(OXValue(OXNull()))));
  EXPECT_TRUE(std::holds_alternative<OXMisfit>(OXValueView(OXValue(OXMisfit()))));
  EXPECT_EQ(std::get<OXNumber>(OXValueView(OXValue(OXNumber(7)))).signed64Value(), 7);
  const OXDate date{OXDate::duration(1.5)};
  EXPECT_EQ(std::get<OXDate>(OXValueView(OXValue(date))), date);
}

}  // namespace

// SPDX-License-Identifier: MIT

#include "support/PlainSize.h"

namespace ox::test::plain {
namespace {

// A double is an integer of 53 bits times a power of two, so 64 bits are enough.
using Whole = std::uint64_t;

Whole halfToEven(Whole number, unsigned bits) {
  if (bits == 0) {
    return number;
  }
  const Whole rest = number & ((Whole{1} << bits) - 1);
  const Whole half = Whole{1} << (bits - 1);
  const Whole rounded = number >> bits;
  return rounded + (rest > half || (rest == half && (rounded & 1U) != 0) ? 1 : 0);
}

unsigned width(Whole number) {
  unsigned bits = 0;
  for (; number != 0; number >>= 1U) {
    ++bits;
  }
  return bits;
}

// Rounds to the 53 bits of a double.
Whole asDouble(Whole number) {
  const unsigned excess = width(number) > 53 ? width(number) - 53 : 0;
  return halfToEven(number, excess) << excess;
}

// The tenths of the double that is nearest to `number` / `divisor`, rounded half to even. The
// quotient is 1 or more and has less than 53 bits before the point.
Whole tenthsOfQuotient(Whole number, Whole divisor) {
  Whole quotient = number / divisor;
  Whole rest = number % divisor;
  // Long division, to two bits more than a double has; the last bit is set if any later bit is.
  unsigned bitsAfterPoint = 0;
  while (width(quotient) < 53 + 2) {
    rest *= 2;
    quotient = quotient * 2 + rest / divisor;
    rest %= divisor;
    ++bitsAfterPoint;
  }
  const Whole mantissa = halfToEven(quotient * 2 + (rest == 0 ? 0 : 1), 3);
  return halfToEven(mantissa * 10, bitsAfterPoint + 1 - 3);
}

std::string inDigits(Whole number) {
  std::string digits;
  do {
    digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(number % 10)));
    number /= 10;
  } while (number != 0);
  return digits;
}

}  // namespace

std::string humanReadableSize(std::int64_t size) {
  const bool isNegative = size < 0;
  const Whole magnitude =
      asDouble(isNegative ? Whole{0} - static_cast<Whole>(size) : static_cast<Whole>(size));
  if (size <= 1000) {
    return (isNegative ? "-" : "") + inDigits(magnitude) + " B";
  }
  const bool isKilo = size <= 1000000;
  const bool isMega = size <= 1000000000;
  const Whole tenths = tenthsOfQuotient(magnitude, isKilo   ? 1000U
                                                   : isMega ? 1000000U
                                                            : 1000000000U);
  std::string text = inDigits(tenths / 10);
  if (tenths % 10 != 0) {
    text += '.' + inDigits(tenths % 10);
  }
  return text + (isKilo ? " KB" : isMega ? " MB" : " GB");
}

}  // namespace ox::test::plain

#include "support/PlainSize.h"

namespace ox::test::plain {
namespace {

// Integers of 128 bits hold all that the rule needs: a double is a whole number of 53 bits and a
// power of two.
__extension__ using Wide = unsigned __int128;

Wide halfToEven(Wide number, unsigned bits) {
  if (bits == 0) {
    return number;
  }
  const Wide rest = number & ((Wide{1} << bits) - 1);
  const Wide half = Wide{1} << (bits - 1);
  const Wide rounded = number >> bits;
  return rounded + (rest > half || (rest == half && (rounded & 1U) != 0) ? 1 : 0);
}

unsigned width(Wide number) {
  unsigned bits = 0;
  for (; number != 0; number >>= 1U) {
    ++bits;
  }
  return bits;
}

// To the 53 bits of a double.
Wide asDouble(Wide number) {
  const unsigned excess = width(number) > 53 ? width(number) - 53 : 0;
  return halfToEven(number, excess) << excess;
}

// The tenths of the double that is nearest to `number` / `divisor`, rounded half to even.
Wide tenthsOfQuotient(Wide number, Wide divisor) {
  // Enough bits after the point for the 53 that count and some more; what is left of the division
  // is told by the last.
  const unsigned shift = 125 - width(number);
  const Wide scaled = (number << shift) / divisor;
  const bool isExact = scaled * divisor == number << shift;
  const unsigned excess = width(scaled) > 53 ? width(scaled) - 53 : 0;
  const Wide mantissa = excess == 0 ? scaled : halfToEven(scaled | (isExact ? 0U : 1U), excess);
  return halfToEven(mantissa * 10, shift - excess);
}

std::string inDigits(Wide number) {
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
  const Wide magnitude =
      asDouble(isNegative ? Wide{0} - static_cast<Wide>(size) : static_cast<Wide>(size));
  if (size <= 1000) {
    return (isNegative ? "-" : "") + inDigits(magnitude) + " B";
  }
  const bool isKilo = size <= 1000000;
  const bool isMega = size <= 1000000000;
  const Wide tenths = tenthsOfQuotient(magnitude, isKilo ? 1000U : isMega ? 1000000U : 1000000000U);
  std::string text = inDigits(tenths / 10);
  if (tenths % 10 != 0) {
    text += '.' + inDigits(tenths % 10);
  }
  return text + (isKilo ? " KB" : isMega ? " MB" : " GB");
}

}  // namespace ox::test::plain

#include "OrvexKit/OXFileUtil.h"

#include <array>
#include <cfloat>
#include <charconv>
#include <string>
#include <string_view>

// A quotient that is held wider than a double and rounded twice may come out as another decimal.
static_assert(FLT_EVAL_METHOD == 0, "doubles must not be held wider than they are");

namespace ox {
namespace {

struct Unit {
  std::int64_t last;  // the largest size that uses it
  double bytes;
  std::string_view name;
};

constexpr std::array<Unit, 3> smallerUnits{{
    {.last = 1000, .bytes = 1, .name = " B"},
    {.last = 1000000, .bytes = 1000, .name = " KB"},
    {.last = 1000000000, .bytes = 1000000, .name = " MB"},
}};
constexpr Unit largestUnit{.last = INT64_MAX, .bytes = 1000000000, .name = " GB"};

const Unit& unitOf(std::int64_t size) noexcept {
  for (const Unit& unit : smallerUnits) {
    if (size <= unit.last) {
      return unit;
    }
  }
  return largestUnit;
}

}  // namespace
}  // namespace ox

OXString OXHumanReadableFileSize(std::int64_t size) {
  const ox::Unit& unit = ox::unitOf(size);
  std::array<char, sizeof "-9223372036854775808.0 GB"> text;
  char* end = std::to_chars(text.data(), text.data() + text.size(),
                            static_cast<double>(size) / unit.bytes, std::chars_format::fixed, 1)
                  .ptr;
  if (end[-1] == '0') {
    end -= std::string_view(".0").size();
  }
  end += unit.name.copy(end, unit.name.size());
  return std::string(text.data(), end);
}

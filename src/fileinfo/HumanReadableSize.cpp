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

constexpr std::array<std::string_view, 4> units{" B", " KB", " MB", " GB"};

}  // namespace
}  // namespace ox

OXString OXHumanReadableFileSize(std::int64_t size) {
  std::size_t unit = 0;
  std::int64_t bytes = 1;
  // Exactly one unit uses the next smaller unit.
  while (size > 1000 * bytes && unit + 1 < ox::units.size()) {
    bytes *= 1000;
    ++unit;
  }
  std::array<char, sizeof "-9223372036854775808.0 GB"> text;
  char* end = std::to_chars(text.data(), text.data() + text.size(),
                            static_cast<double>(size) / static_cast<double>(bytes),
                            std::chars_format::fixed, 1)
                  .ptr;
  if (end[-1] == '0') {
    end -= std::string_view(".0").size();
  }
  end += ox::units[unit].copy(end, ox::units[unit].size());
  return std::string(text.data(), end);
}

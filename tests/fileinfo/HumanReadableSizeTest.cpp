// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "support/AllocationCount.h"
#include "support/ChildProcess.h"
#include "support/Locales.h"
#include "support/PlainSize.h"
#include "support/Share.h"
#include "support/TemporaryFolder.h"

namespace {

constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

TEST(HumanReadableSize, FollowsItsRows) {
  const std::vector<std::pair<std::int64_t, std::string>> rows = {
      {0, "0 B"},
      {1, "1 B"},
      {10, "10 B"},
      {100, "100 B"},
      {512, "512 B"},
      {999, "999 B"},
      {1000, "1000 B"},
      {1001, "1 KB"},
      {1049, "1 KB"},
      {1050, "1.1 KB"},
      {1051, "1.1 KB"},
      {1249, "1.2 KB"},
      {1250, "1.2 KB"},
      {1251, "1.3 KB"},
      {1500, "1.5 KB"},
      {1750, "1.8 KB"},
      {9999, "10 KB"},
      {10000, "10 KB"},
      {100000, "100 KB"},
      {999949, "999.9 KB"},
      {999950, "1000 KB"},
      {999999, "1000 KB"},
      {1000000, "1000 KB"},
      {1000001, "1 MB"},
      {1048576, "1 MB"},
      {20000000, "20 MB"},
      {999999999, "1000 MB"},
      {1000000000, "1000 MB"},
      {1000000001, "1 GB"},
      {2500000000, "2.5 GB"},
      {5000000000000, "5000 GB"},
      {largest, "9223372036.9 GB"},
      {-1, "-1 B"},
      {-5, "-5 B"},
      {-1001, "-1001 B"},
      {-2500000000, "-2500000000 B"},
      {-1000000000000, "-1000000000000 B"},
      {-9007199254740993, "-9007199254740992 B"},  // rounded to a double
      {smallest, "-9223372036854775808 B"},
  };
  for (const auto& [size, text] : rows) {
    EXPECT_EQ(OXHumanReadableFileSize(size), text) << size;
  }
}

// The rule implemented with the C library.
std::string sizeByPrintf(std::int64_t size) {
  const double divisor = size <= 1000         ? 1.0
                         : size <= 1000000    ? 1000.0
                         : size <= 1000000000 ? 1000000.0
                                              : 1000000000.0;
  std::array<char, 64> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%.1f", static_cast<double>(size) / divisor);
  std::string text(buffer.data());
  if (text.back() == '0') {
    text.resize(text.size() - 2);
  }
  return text + (size <= 1000         ? " B"
                 : size <= 1000000    ? " KB"
                 : size <= 1000000000 ? " MB"
                                      : " GB");
}

void expectTheSame(std::int64_t size) {
  const std::string text = OXHumanReadableFileSize(size).value_or("(null)");
  ASSERT_EQ(text, ox::test::plain::humanReadableSize(size)) << size;
  ASSERT_EQ(text, sizeByPrintf(size)) << size;
}

std::vector<std::int64_t> boundaries() {
  std::vector<std::int64_t> sizes{0, smallest, largest};
  for (std::int64_t power = 1; power <= 1000000000000000000; power *= 10) {
    for (std::int64_t factor = 1; factor <= 9; ++factor) {
      sizes.push_back(power * factor);
      sizes.push_back(power * factor + power / 20);  // half a tenth of the unit
      sizes.push_back(-power * factor);
    }
    if (power == 1000000000000000000) {
      break;
    }
  }
  for (unsigned bit = 0; bit < 63; ++bit) {
    sizes.push_back(std::int64_t{1} << bit);
    sizes.push_back(-(std::int64_t{1} << bit));
  }
  return sizes;
}

TEST(HumanReadableSize, AgreesWithTheRuleInIntegersAroundBoundaries) {
  for (const std::int64_t boundary : boundaries()) {
    for (const std::int64_t offset : {-2, -1, 0, 1, 2}) {
      std::int64_t size = 0;
      if (!__builtin_add_overflow(boundary, offset, &size)) {
        expectTheSame(size);
      }
    }
  }
}

TEST(HumanReadableSize, AgreesWithTheRuleInIntegersOnManySizes) {
  std::mt19937_64 random(1);
  for (int i = 0; i < ox::test::shareOf(1'000'000); ++i) {
    // All magnitudes and both signs.
    expectTheSame(static_cast<std::int64_t>(random()) >> (random() % 64));
    if (HasFatalFailure()) {
      return;
    }
  }
}

TEST(HumanReadableSize, AgreesWithTheRuleInIntegersOnTies) {
  std::mt19937_64 random(2);
  for (int i = 0; i < 100000; ++i) {
    const std::int64_t unit = i % 3 == 0 ? 1000 : i % 3 == 1 ? 1000000 : 1000000000;
    const auto tenths =
        static_cast<std::int64_t>(random() % (unit == 1000000000 ? 92233720368 : 9999));
    expectTheSame(unit / 10 * tenths + unit / 20);
    if (HasFatalFailure()) {
      return;
    }
  }
}

TEST(HumanReadableSize, TakesAtMostOneAllocation) {
  for (const std::int64_t size : boundaries()) {
    const ox::test::AllocationCount allocations;
    const OXString text = OXHumanReadableFileSize(size);
    EXPECT_LE(allocations.count(), text->size() > 15 ? 1U : 0U) << *text;
  }
}

using HumanReadableSizeInALocale = ox::test::TemporaryFolderTest;

TEST_F(HumanReadableSizeInALocale, HasADotAllTheSame) {
  const ox::test::Locales locales(work());
  if (!locales.make("de_DE", "UTF-8")) {
    GTEST_SKIP() << "locales cannot be created here";
  }
  EXPECT_EQ(
      ox::test::linesOf({.program = OX_PROBE,
                         .arguments = {"setlocale:de_DE.UTF-8", "size:1500", "size:2500000000"},
                         .environment = locales.environment("de_DE.UTF-8")}),
      (std::vector<std::string>{"1", "1.5 KB", "2.5 GB"}));
}

}  // namespace

// SPDX-License-Identifier: MIT

// Names longer than `std::string::max_size()`, which are only possible where addresses have 32
// bits.

#include <OrvexKit/OXFileUtil.h>
#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <string_view>
#include <vector>

#include "support/LogCapture.h"
#include "support/LongText.h"

namespace {

using ox::test::libraryLine;
using ox::test::LogLine;
using ox::test::takeLogLines;
using LongName = ox::test::LongText;

TEST_F(LongName, IsTooMuchForTheMemory) {
  const std::string_view name = endingIn(".zip");
  EXPECT_THROW(OXSequentiallyUniqueName(name, "/missing", false), std::bad_alloc);
  EXPECT_THROW(OXSequentiallyUniqueName("x", name, false), std::bad_alloc);
  EXPECT_THROW(OXSafelyCreateArchiveSubdir(name, "/missing", false), std::bad_alloc);
  takeLogLines();
  EXPECT_EQ(OXCreateTemporaryDirectoryInDir(name), std::nullopt);
  EXPECT_EQ(takeLogLines(), std::vector<LogLine>({libraryLine(
                                "Could not allocate memory for generating temp dir name!")}));
}

}  // namespace

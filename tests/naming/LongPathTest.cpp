// SPDX-License-Identifier: MIT

// Paths longer than `std::string::max_size()`, which are only possible where addresses have 32
// bits.

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <string_view>

#include "OrvexKit/OXFileUtil.h"
#include "support/LongText.h"

namespace {

using LongPath = ox::test::LongText;

TEST_F(LongPath, IsTooMuchForTheMemory) {
  using namespace OXFileUtilAdditions;
  const std::string_view part = endingIn(".part1.rar");
  EXPECT_THROW(OXGetFirstArchiveVolumePath(part), std::bad_alloc);
  EXPECT_THROW(OXPathByRemovingAncestorPath(part, "/a"), std::bad_alloc);
  EXPECT_THROW(canonicalPath(part), std::bad_alloc);
  EXPECT_EQ(archiveExtension(part), "rar");
  const std::string_view slashes = endingIn("a");
  EXPECT_THROW(stringByDeletingArchiveExtension(slashes), std::bad_alloc);
  EXPECT_EQ(OXPathByRemovingAncestorPath(slashes, slashes), "");
}

TEST(FirstVolumeExtension, OfMoreDigitsThanAStringHoldsIsTooMuchForTheMemory) {
  EXPECT_THROW(_OXFirstArchiveVolumeExtension(std::numeric_limits<OXUnsignedWord>::max()),
               std::bad_alloc);
}

}  // namespace

// Paths that are longer than any string: only 32-bit processors have room for one of them.

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstddef>
#include <limits>
#include <new>
#include <string>
#include <string_view>

#include "OrvexKit/OXFileUtil.h"

namespace {

constexpr std::size_t tooMany = std::size_t{1} << 31U;

// NULs, and at the end an extension.
class LongPath : public testing::Test {
 public:
  LongPath() = default;
  LongPath(const LongPath&) = delete;
  LongPath(LongPath&&) = delete;
  LongPath& operator=(const LongPath&) = delete;
  LongPath& operator=(LongPath&&) = delete;
  ~LongPath() override {
    if (memory_ != MAP_FAILED) {
      ::munmap(memory_, tooMany);
    }
  }

 protected:
  void SetUp() override {
    if (tooMany < std::string().max_size()) {
      GTEST_SKIP() << "strings can be longer here";
    }
    memory_ = ::mmap(nullptr, tooMany, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory_ == MAP_FAILED) {
      GTEST_SKIP() << "no room";
    }
  }

  std::string_view endingIn(std::string_view ending) {
    char* const bytes = static_cast<char*>(memory_);
    ending.copy(bytes + tooMany - ending.size(), ending.size());
    return {bytes, tooMany};
  }

 private:
  void* memory_ = MAP_FAILED;
};

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

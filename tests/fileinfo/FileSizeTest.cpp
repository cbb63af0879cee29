// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "support/LogCapture.h"
#include "support/LongText.h"
#include "support/ObservedSystem.h"
#include "support/TemporaryFolder.h"

namespace {

using ox::test::LogLine;
using ox::test::removeOne;
using ox::test::takeLogLines;

std::vector<LogLine> failureLine(const std::string& path) {
  return {ox::test::libraryLine("Failed to get size for file at path: " + path)};
}

class FileSize : public ox::test::TemporaryFolderTest {
 protected:
  void SetUp() override { static_cast<void>(takeLogLines()); }
};

TEST_F(FileSize, IsWhatTheFileSystemReports) {
  ox::test::writeFile(in("abc"), "abc");
  ox::test::writeFile(in("empty"));
  ox::test::writeFile(in("sparse"));
  ASSERT_EQ(::truncate(in("sparse").c_str(), 5000000000), 0);
  ox::test::writeFile(in("\xff\x80"), "12345");
  ASSERT_EQ(::symlink("sparse", in("link").c_str()), 0);
  ASSERT_EQ(::symlink("missing!", in("nowhere").c_str()), 0);
  ASSERT_EQ(::mkfifo(in("fifo").c_str(), 0600), 0);
  const std::vector<std::pair<std::string, std::int64_t>> rows = {
      {"abc", 3},     {"empty", 0}, {"sparse", 5000000000}, {"\xff\x80", 5}, {"link", 6},
      {"nowhere", 8}, {"fifo", 0},  {"./abc", 3},
  };
  for (const auto& [name, size] : rows) {
    EXPECT_EQ(OXGetFileSize(in(name)), size) << name;
  }
  struct stat status {};
  ASSERT_EQ(::lstat(work().c_str(), &status), 0);
  EXPECT_EQ(OXGetFileSize(work()), status.st_size) << "the size of the folder itself";
  EXPECT_TRUE(takeLogLines().empty());
  for (const auto& [name, size] : rows) {
    ::unlink(in(name).c_str());
  }
}

TEST_F(FileSize, IsZeroAndLoggedWhenItCannotBeTold) {
  ox::test::writeFile(in("file"));
  ASSERT_EQ(::symlink("loop", in("loop").c_str()), 0);
  const std::vector<std::string> paths = {
      "",
      in("missing"),
      in("file/"),
      in("file/x"),
      in("loop/x"),
      in("\xff\xfe % %s %d %n \n\x1b"),
      in(std::string(300, 'n')),
      std::string(5000, '/'),
      work() + std::string("\0hidden", 7),
  };
  for (const std::string& path : paths) {
    SCOPED_TRACE(testing::PrintToString(path));
    EXPECT_EQ(OXGetFileSize(path), 0);
    EXPECT_EQ(takeLogLines(), failureLine(path));
  }
  EXPECT_EQ(OXGetFileSize(std::nullopt), 0);
  EXPECT_EQ(takeLogLines(), failureLine("(null)"));
  removeOne(in("file"));
  removeOne(in("loop"));
}

TEST_F(FileSize, IsZeroAndLoggedForEveryFailureOfTheSystem) {
  ox::test::writeFile(in("file"), "abc");
  ox::test::ObservedSystem observed;
  EXPECT_EQ(OXGetFileSize(in("file")), 3);
  EXPECT_EQ(observed.count(), 1);
  for (const int error : {EACCES, ENOSPC, EMFILE, ENOMEM, EIO}) {
    observed.failNth(1, error);
    EXPECT_EQ(OXGetFileSize(in("file")), 0);
    EXPECT_EQ(takeLogLines(), failureLine(in("file")));
  }
  observed.interruptEach(3);
  EXPECT_EQ(OXGetFileSize(in("file")), 3);
  EXPECT_TRUE(takeLogLines().empty());
  removeOne(in("file"));
}

using LongPath = ox::test::LongText;

TEST_F(LongPath, IsTooMuchForTheMemory) {
  EXPECT_THROW(OXGetFileSize(endingIn("")), std::bad_alloc);
}

}  // namespace

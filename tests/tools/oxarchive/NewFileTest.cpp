// SPDX-License-Identifier: MIT

// A file that gets its name when it is complete, on both kinds of file systems.

#include "writing/NewFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "console/Failure.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox::test;
using oxarchive::NewFile;

class NewFiles : public TemporaryFolderTest, public testing::WithParamInterface<NewFile::Before> {
 protected:
  std::string folder() const { return work() + "/"; }
};

INSTANTIATE_TEST_SUITE_P(Before, NewFiles,
                         testing::Values(NewFile::Before::nameless, NewFile::Before::hidden),
                         [](const auto& each) {
                           return each.param == NewFile::Before::nameless ? "nameless" : "hidden";
                         });

TEST_P(NewFiles, GetTheirNameInTheEnd) {
  {
    NewFile file(folder(), GetParam());
    ASSERT_EQ(::write(file.descriptor(), "abc", 3), 3);
    EXPECT_FALSE(exists(in("a.tar.gz")));
    EXPECT_EQ(file.publish("a.tar.gz"), in("a.tar.gz"));
  }
  EXPECT_EQ(listing(work()), (std::vector<std::string>{"a.tar.gz"}));
  EXPECT_EQ(readFile(in("a.tar.gz")), "abc");
  removeOne(in("a.tar.gz"));
}

TEST_P(NewFiles, LeaveNothingWithoutAName) {
  {
    const NewFile file(folder(), GetParam());
    ASSERT_EQ(::write(file.descriptor(), "abc", 3), 3);
  }
  EXPECT_TRUE(listing(work()).empty());
}

TEST_P(NewFiles, TakeTheNextNameWhenSomebodyWasFaster) {
  {
    NewFile file(folder(), GetParam());
    NewFile other(folder(), GetParam());
    EXPECT_EQ(other.publish("a.zip"), in("a.zip"));
    EXPECT_EQ(file.publish("a.zip"), in("a (1).zip"));
  }
  EXPECT_EQ(listing(work()), (std::vector<std::string>{"a (1).zip", "a.zip"}));
  removeOne(in("a.zip"));
  removeOne(in("a (1).zip"));
}

TEST_P(NewFiles, HaveThePermissionsOfNewFiles) {
  const mode_t mask = ::umask(027);
  { NewFile(folder(), GetParam()).publish("f"); }
  ::umask(mask);
  struct stat status {};
  ASSERT_EQ(::stat(in("f").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFREG | 0640U);
  removeOne(in("f"));
}

TEST_P(NewFiles, CannotBeMadeWithoutTheirFolder) {
  EXPECT_THROW(NewFile(in("missing/"), GetParam()), oxarchive::ArchiveFailure);
}

}  // namespace

// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "support/LogCapture.h"
#include "support/ObservedSystem.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

using ox::test::Call;
using ox::test::ObservedSystem;
using ox::test::removeOne;
using ox::test::writeFile;

OXFileReference referenceOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return {.device = status.st_dev, .inode = status.st_ino, .path = path};
}

class FileReference : public ox::test::TemporaryFolderTest {};

TEST_F(FileReference, SaysWhichItemIsWhere) {
  writeFile(in("file"));
  fs::create_directory(in("folder"));
  ASSERT_EQ(::symlink("folder", in("link").c_str()), 0);
  ASSERT_EQ(::symlink("missing", in("nowhere").c_str()), 0);
  ASSERT_EQ(::mkfifo(in("fifo").c_str(), 0600), 0);
  for (const char* name : {"file", "folder", "link", "nowhere", "fifo", "folder/..", "."}) {
    for (const char* slashes : {"", "/", "///"}) {
      OXFileReference reference;
      EXPECT_TRUE(OXReferenceFromPath(reference, in(name) + slashes)) << name << slashes;
      EXPECT_EQ(reference, referenceOf(in(name))) << name << slashes;
    }
  }
  OXFileReference root;
  EXPECT_TRUE(OXReferenceFromPath(root, "///"));
  EXPECT_EQ(root, referenceOf("/"));
  for (const char* name : {"file", "folder", "link", "nowhere", "fifo"}) {
    removeOne(in(name));
  }
}

TEST_F(FileReference, IsLeftAsItWasWhenThereIsNoItem) {
  static_cast<void>(ox::test::takeLogLines());
  writeFile(in("file"));
  const OXFileReference before{.device = 1, .inode = 2, .path = "before"};
  OXFileReference reference = before;
  const std::vector<OXStringView> paths = {std::nullopt, "", "missing", "missing/"};
  for (const OXStringView path : paths) {
    EXPECT_FALSE(OXReferenceFromPath(reference, path));
  }
  EXPECT_FALSE(OXReferenceFromPath(reference, in("file/x")));
  EXPECT_FALSE(OXReferenceFromPath(reference, in("file") + std::string("\0", 1)));
  EXPECT_FALSE(OXReferenceFromPath(reference, "/" + std::string(5000, 'n')));
  ObservedSystem observed;
  for (const int error : {EACCES, ENOSPC, EMFILE, ENOMEM, EIO}) {
    observed.fail(Call::fstatat, error);
    EXPECT_FALSE(OXReferenceFromPath(reference, in("file")));
  }
  EXPECT_EQ(reference, before);
  EXPECT_TRUE(ox::test::takeLogLines().empty());
  removeOne(in("file"));
}

TEST_F(FileReference, IsMadeAfterInterruptions) {
  writeFile(in("file"));
  ObservedSystem observed;
  observed.interruptEach(3);
  OXFileReference reference;
  EXPECT_TRUE(OXReferenceFromPath(reference, in("file")));
  EXPECT_EQ(observed.count(Call::fstatat), 1);
  EXPECT_EQ(reference, referenceOf(in("file")));
  removeOne(in("file"));
}

}  // namespace

// SPDX-License-Identifier: MIT

#include <OrvexKit/OXFileUtil.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/AllocationCount.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox::test;

class UniqueName : public TemporaryFolderTest {
 protected:
  // Makes the items, gets the name, and removes them.
  OXString uniqueNameBeside(const std::vector<std::string>& taken, const std::string& name,
                            bool isFolder) {
    for (const std::string& item : taken) {
      writeFile(in(item));
    }
    OXString path = OXSequentiallyUniqueName(name, work(), isFolder);
    for (const std::string& item : taken) {
      removeOne(in(item));
    }
    return path;
  }
};

struct UniqueNameRow {
  std::vector<std::string> taken;
  std::string name;
  bool isFolder;
  std::string expected;
};

const std::string notUtf8 = "\xff\x80";

const UniqueNameRow uniqueNameRows[] = {
    {{}, "x.zip", false, "x.zip"},
    {{"x.zip"}, "x.zip", false, "x (1).zip"},
    {{"x.z"}, "x.z", false, "x (1).z"},
    {{"x.zip", "x (1).zip"}, "x.zip", false, "x (2).zip"},
    {{"x.zip", "x (2).zip"}, "x.zip", false, "x (1).zip"},
    {{"x (1).zip"}, "x.zip", false, "x.zip"},
    {{"x.zip", "x (1).ZIP", "x (01).zip", "x (1) .zip"}, "x.zip", false, "x (1).zip"},
    {{"photos.tar.gz"}, "photos.tar.gz", false, "photos (1).tar.gz"},
    {{"photos.tar.gz", "photos (1).tar.gz"}, "photos.tar.gz", false, "photos (2).tar.gz"},
    // The "tar" of the archive extension is always in lower case.
    {{"P.TAR.GZ"}, "P.TAR.GZ", false, "P (1).tar.GZ"},
    {{"P.TAR.GZ", "P (1).TAR.GZ"}, "P.TAR.GZ", false, "P (1).tar.GZ"},
    {{"Music"}, "Music", true, "Music (1)"},
    {{"Music"}, "Music", false, "Music (1)"},
    {{"photos.tar"}, "photos.tar", true, "photos.tar (1)"},
    {{"photos.tar"}, "photos.tar", false, "photos (1).tar"},
    {{"photos.tar.gz"}, "photos.tar.gz", true, "photos.tar.gz (1)"},
    {{"Music (1)"}, "Music (1)", true, "Music (1) (1)"},
    {{".gz"}, ".gz", false, ".gz (1)"},
    {{".tar.gz"}, ".tar.gz", false, ".tar (1).gz"},
    {{"a."}, "a.", false, "a. (1)"},
    {{"tar.gz"}, "tar.gz", false, "tar (1).gz"},
    {{"100%d %s.zip"}, "100%d %s.zip", false, "100%d %s (1).zip"},
    {{notUtf8 + ".zip"}, notUtf8 + ".zip", false, notUtf8 + " (1).zip"},
    {{"line\nbreak"}, "line\nbreak", true, "line\nbreak (1)"},
};

TEST_F(UniqueName, IsTheFirstThatIsFree) {
  for (const UniqueNameRow& row : uniqueNameRows) {
    SCOPED_TRACE(testing::PrintToString(row.name) + " beside " + testing::PrintToString(row.taken));
    EXPECT_EQ(uniqueNameBeside(row.taken, row.name, row.isFolder), in(row.expected));
  }
}

TEST_F(UniqueName, IsJoinedWithOneSlash) {
  for (const std::string ending : {"", "/", "//"}) {
    EXPECT_EQ(OXSequentiallyUniqueName("x", work() + ending, true), in("x"));
  }
  EXPECT_EQ(OXSequentiallyUniqueName("no such name", "/", true), "/no such name");
}

TEST_F(UniqueName, OfAnEmptyNameIsTheFolderWhileThatIsMissing) {
  for (const bool isFolder : {true, false}) {
    EXPECT_EQ(OXSequentiallyUniqueName("", in("missing"), isFolder), in("missing"));
    EXPECT_EQ(uniqueNameBeside({}, "", isFolder), in("Archive (1)"));
    EXPECT_EQ(uniqueNameBeside({"Archive (1)"}, "", isFolder), in("Archive (2)"));
    EXPECT_EQ(uniqueNameBeside({"Archive"}, "", isFolder), in("Archive (1)"));
  }
}

// An empty folder and an empty name join to "", which no item can have, so it is free.
TEST_F(UniqueName, OfNoCharactersInNoneHasNone) {
  for (const bool isFolder : {true, false}) {
    EXPECT_EQ(OXSequentiallyUniqueName("", "", isFolder), "");
    EXPECT_EQ(OXSequentiallyUniqueName("", "/", isFolder), "/Archive (1)");
    EXPECT_EQ(OXSequentiallyUniqueName("", work() + "//", isFolder), in("Archive (1)"));
  }
}

TEST_F(UniqueName, IsNotThatOfALinkEvenOneThatLeadsNowhere) {
  std::filesystem::create_symlink("nowhere", in("x"));
  std::filesystem::create_symlink("x (1)", in("x (1)"));
  EXPECT_EQ(OXSequentiallyUniqueName("x", work(), true), in("x (2)"));
  removeOne(in("x"));
  removeOne(in("x (1)"));
}

TEST_F(UniqueName, InAMissingFolderIsTheNameItself) {
  EXPECT_EQ(OXSequentiallyUniqueName("x.zip", in("missing"), false), in("missing/x.zip"));
}

TEST_F(UniqueName, WithANulIsTheNameItself) {
  const std::string name("x\0y", 3);
  EXPECT_EQ(OXSequentiallyUniqueName(name, work(), false), in(name));
}

TEST_F(UniqueName, TooLongForTheDiskIsFree) {
  const std::string longest(255, 'n');
  EXPECT_EQ(uniqueNameBeside({longest}, longest, true), in(longest + " (1)"));
  EXPECT_EQ(uniqueNameBeside({}, longest + "n", true), in(longest + "n"));
}

TEST_F(UniqueName, IsInTheCurrentFolderWhenNoneIsNamed) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(work());
  std::vector<std::string> taken{"x"};
  for (int i = 1; i <= 40; ++i) {
    taken.push_back("x (" + std::to_string(i) + ")");
  }
  EXPECT_EQ(OXSequentiallyUniqueName("x", "", true), "x");
  EXPECT_EQ(OXSequentiallyUniqueName("/x y", "", true), "/x y");
  for (const std::string& item : taken) {
    writeFile(item);
  }
  EXPECT_EQ(OXSequentiallyUniqueName("x", "", true), "x (41)");
  for (const std::string& item : taken) {
    removeOne(item);
  }
  std::filesystem::current_path(before);
}

TEST_F(UniqueName, OfNothingIsNothing) {
  EXPECT_EQ(OXSequentiallyUniqueName(std::nullopt, work(), true), std::nullopt);
  EXPECT_EQ(OXSequentiallyUniqueName("x", std::nullopt, true), std::nullopt);
}

// After some number of taken names, the folder is listed instead of checking each name.
TEST_F(UniqueName, IsTheFirstThatIsFreeAmongMany) {
  std::vector<std::string> taken{
      "x.tar.gz",        "x (07).tar.gz",     "x (+7).tar.gz",          "x (-7).tar.gz",
      "x ().tar.gz",     "x (300).tar.gz.gz", "x (99999999999).tar.gz", "x (0).tar.gz",
      "x (-0).tar.gz",   "x (300]_tar.gz",    "y (300).tar.gz",         "x (300",
      "x (300a).tar.gz", "x (0300).tar.gz"};
  for (int i = 1; i <= 299; ++i) {
    taken.push_back("x (" + std::to_string(i) + ").tar.gz");
  }
  taken.emplace_back("x (301).tar.gz");
  EXPECT_EQ(uniqueNameBeside(taken, "x.tar.gz", false), in("x (300).tar.gz"));
  for (const int hole : {1, 15, 16, 17, 18, 64, 65, 128, 200}) {
    const std::string name = "x (" + std::to_string(hole) + ").tar.gz";
    std::vector<std::string> holed = taken;
    std::erase(holed, name);
    EXPECT_EQ(uniqueNameBeside(holed, "x.tar.gz", false), in(name));
  }
}

TEST_F(UniqueName, SeesLinksThatLeadNowhereAmongMany) {
  std::vector<std::string> taken{"x"};
  for (int i = 1; i <= 100; ++i) {
    taken.push_back("x (" + std::to_string(i) + ")");
  }
  std::filesystem::create_symlink("nowhere", in("x (101)"));
  EXPECT_EQ(uniqueNameBeside(taken, "x", true), in("x (102)"));
  removeOne(in("x (101)"));
}

TEST_F(UniqueName, IsFoundInAFolderThatMayNotBeListed) {
  OX_SKIP_AS_ROOT();
  std::filesystem::create_directory(in("d"));
  std::vector<std::string> taken{in("d/x")};
  for (int i = 1; i <= 100; ++i) {
    taken.push_back(in("d/x (" + std::to_string(i) + ")"));
  }
  for (const std::string& item : taken) {
    writeFile(item);
  }
  ASSERT_EQ(::chmod(in("d").c_str(), 0300), 0);
  EXPECT_EQ(OXSequentiallyUniqueName("x", in("d"), true), in("d/x (101)"));
  ASSERT_EQ(::chmod(in("d").c_str(), 0700), 0);
  for (const std::string& item : taken) {
    removeOne(item);
  }
  removeOne(in("d"));
}

TEST_F(UniqueName, TakesOneAllocation) {
  std::vector<std::string> taken{"photos.tar.gz"};
  for (int i = 1; i <= 100; ++i) {
    taken.push_back("photos (" + std::to_string(i) + ").tar.gz");
  }
  for (const std::string& item : taken) {
    writeFile(in(item));
  }
  for (const char* name : {"photos.tar.gz", "free.tar.gz", "", "a"}) {
    const AllocationCount allocations;
    const OXString path = OXSequentiallyUniqueName(name, work(), false);
    EXPECT_EQ(allocations.count(), 1U) << name;
  }
  for (const std::string& item : taken) {
    removeOne(in(item));
  }
}

}  // namespace

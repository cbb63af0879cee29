// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "support/ObservedSystem.h"
#include "support/PlainNaming.h"
#include "support/TemporaryFolder.h"

namespace {

using ox::test::removeOne;
using OXFileUtilAdditions::canonicalPath;

struct RelationRow {
  OXString path;
  OXString ancestor;
  OXString below;
};

const std::string notUtf8 = "/\xff/\x80";
const std::string withNul("/a\0b/c", 6);

const std::vector<RelationRow> relationRows = {
    {"/a/b/c", "/a", "b/c"},
    {"/a/b/c", "/a/", "b/c"},
    {"/a/b/c", "/a/b", "c"},
    {"/a/bc", "/a/b", "/a/bc"},
    {"/a/b", "/a/b", ""},
    {"/a/b/", "/a/b", ""},
    {"/a/b/", "/a/b/", ""},
    {"/a/b", "/a/b/", "/a/b"},
    {"/a//b", "/a", "/b"},
    {"/a//b", "/a/", "b"},
    {"/a//b", "/a//", "b"},
    {"/a/b", "", "/a/b"},
    {"/a", "/a/b", "/a"},
    {"/a", "/", "a"},
    {"//a", "/", "a"},
    {"///a", "/", "/a"},
    {"/", "/", ""},
    {"//", "/", ""},
    {"/", "//", "/"},
    {"", "", ""},
    {"", "/", ""},
    {"a/b", "a", "b"},
    {"a/b", "A", "a/b"},
    {"a", "a", ""},
    {"./a", ".", "a"},
    {"/a/../b", "/a", "../b"},
    {"/a/../b", "/b", "/a/../b"},
    {"/a/./b", "/a/b", "/a/./b"},
    {notUtf8, "/\xff", "\x80"},
    {notUtf8, "/", "\xff/\x80"},
    {withNul, std::string("/a\0b", 4), "c"},
    {withNul, "/a", withNul},
    {"/a/b", std::nullopt, "/a/b"},
    {std::nullopt, "/a", std::nullopt},
    {std::nullopt, std::nullopt, std::nullopt},
};

TEST(PathByRemovingAncestorPath, FollowsItsRows) {
  for (const RelationRow& row : relationRows) {
    SCOPED_TRACE(testing::PrintToString(row.path) + " below " +
                 testing::PrintToString(row.ancestor));
    EXPECT_EQ(OXPathByRemovingAncestorPath(row.path, row.ancestor), row.below);
  }
}

TEST(PathByRemovingAncestorPath, DoesNotTouchTheDisk) {
  const ox::test::ObservedSystem observed;
  for (const RelationRow& row : relationRows) {
    static_cast<void>(OXPathByRemovingAncestorPath(row.path, row.ancestor));
  }
  EXPECT_EQ(observed.count(), 0);
}

std::vector<std::string> allStrings(std::string_view alphabet, std::size_t longest) {
  std::vector<std::string> strings{""};
  for (std::size_t i = 0; strings[i].size() < longest; ++i) {
    for (const char c : alphabet) {
      strings.push_back(strings[i] + c);
    }
  }
  return strings;
}

TEST(PathByRemovingAncestorPath, AgreesWithTheRuleByComponentsOnAllShortPaths) {
  const std::vector<std::string> paths = allStrings("/a.", 6);
  const std::vector<std::string> ancestors = allStrings("/a.", 5);
  ASSERT_EQ(paths.size(), 1093U);
  for (const std::string& path : paths) {
    for (const std::string& ancestor : ancestors) {
      ASSERT_EQ(OXPathByRemovingAncestorPath(path, ancestor),
                ox::test::plain::removingAncestor(path, ancestor))
          << path << " below " << ancestor;
    }
  }
}

class CanonicalPath : public ox::test::TemporaryFolderTest {
 protected:
  // Makes a folder below `work()` whose path has exactly `length` bytes.
  std::vector<std::string> makeDeepFolder(std::size_t length) {
    std::vector<std::string> folders{work()};
    while (folders.back().size() < length) {
      const std::size_t left = length - folders.back().size() - 1;
      // A component of at least one byte, with room for the slash before the next.
      const std::size_t size = left <= 200 ? left : std::min<std::size_t>(198, left - 2);
      folders.push_back(folders.back() + "/" + std::string(size, 'd'));
      EXPECT_EQ(::mkdir(folders.back().c_str(), 0700), 0) << folders.back();
    }
    folders.erase(folders.begin());
    return folders;
  }

  static void removeAll(std::vector<std::string> folders) {
    for (; !folders.empty(); folders.pop_back()) {
      removeOne(folders.back());
    }
  }
};

TEST_F(CanonicalPath, ResolvesLinksAndRelativeSteps) {
  ASSERT_EQ(::mkdir(in("e").c_str(), 0700), 0);
  ox::test::writeFile(in("e/f"));
  ASSERT_EQ(::symlink("e", in("link").c_str()), 0);
  ASSERT_EQ(::symlink("link/f", in("chain").c_str()), 0);
  ASSERT_EQ(::symlink("missing", in("nowhere").c_str()), 0);
  ASSERT_EQ(::symlink("loop", in("loop").c_str()), 0);
  const std::string file = in("e/f");
  const std::vector<std::pair<std::string, std::string>> rows = {
      {in("link/f"), file},
      {in("chain"), file},
      {in("e//./f"), file},
      {in("link/../e/f"), file},
      {in("link/"), in("e")},
      {work() + "//", work()},
      {"/", "/"},
      {"//", "/"},
      {"/..", "/"},
      // On failure, the path is returned unchanged.
      {"", ""},
      {in("missing"), in("missing")},
      {in("missing/../e"), in("missing/../e")},
      {in("nowhere"), in("nowhere")},
      {in("loop"), in("loop")},
      {in("e/f/"), in("e/f/")},
      {in("e/f/.."), in("e/f/..")},
      {std::string("/\0", 2), std::string("/\0", 2)},
      {std::string(5000, '/'), std::string(5000, '/')},
      {"/" + std::string(300, 'n'), "/" + std::string(300, 'n')},
  };
  for (const auto& [path, canonical] : rows) {
    SCOPED_TRACE(testing::PrintToString(path));
    EXPECT_EQ(canonicalPath(path), canonical);
  }
  EXPECT_EQ(canonicalPath(std::nullopt), std::nullopt);
  for (const char* name : {"chain", "nowhere", "loop", "link", "e/f", "e"}) {
    removeOne(in(name));
  }
}

TEST_F(CanonicalPath, StartsARelativePathInTheCurrentFolder) {
  const std::string before = std::filesystem::current_path();
  ASSERT_EQ(::chdir(work().c_str()), 0);
  EXPECT_EQ(canonicalPath("."), work());
  EXPECT_EQ(canonicalPath("../work"), work());
  ASSERT_EQ(::chdir(before.c_str()), 0);
}

TEST_F(CanonicalPath, KeepsBytesThatAreNotUtf8) {
  ASSERT_EQ(::mkdir(in("\xff\x80").c_str(), 0700), 0);
  ASSERT_EQ(::symlink("\xff\x80", in("link").c_str()), 0);
  EXPECT_EQ(canonicalPath(in("link")), in("\xff\x80"));
  removeOne(in("link"));
  removeOne(in("\xff\x80"));
}

TEST_F(CanonicalPath, GivesAResultOfUpTo1023Bytes) {
  for (const std::size_t length : {1022U, 1023U, 1024U, 1025U, 2000U}) {
    SCOPED_TRACE(length);
    const std::vector<std::string> folders = makeDeepFolder(length);
    ASSERT_EQ(folders.back().size(), length);
    const std::string given = folders.back() + "/.";
    EXPECT_EQ(canonicalPath(given), length <= 1023 ? folders.back() : given);
    removeAll(folders);
  }
}

TEST_F(CanonicalPath, GivesThePathItselfForEveryFailureOfTheSystem) {
  ox::test::ObservedSystem observed;
  for (const int error : {EACCES, EMFILE, ENOMEM, EIO, ELOOP, ENAMETOOLONG}) {
    observed.fail(ox::test::Call::realpath, error);
    EXPECT_EQ(canonicalPath(work() + "/."), work() + "/.");
  }
  observed.fail(ox::test::Call::realpath, EINTR, 1);
  EXPECT_EQ(canonicalPath(work() + "/."), work()) << "interrupted calls are repeated";
}

TEST_F(CanonicalPath, GivesThePathItselfBelowAFolderThatMayNotBeSearched) {
  OX_SKIP_AS_ROOT();
  ASSERT_EQ(::mkdir(in("closed").c_str(), 0700), 0);
  ASSERT_EQ(::mkdir(in("closed/inner").c_str(), 0700), 0);
  ASSERT_EQ(::chmod(in("closed").c_str(), 0600), 0);
  EXPECT_EQ(canonicalPath(in("closed/./inner")), in("closed/./inner"));
  ASSERT_EQ(::chmod(in("closed").c_str(), 0700), 0);
  removeOne(in("closed/inner"));
  removeOne(in("closed"));
}

}  // namespace

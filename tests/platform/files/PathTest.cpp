// SPDX-License-Identifier: MIT

#include "platform/files/Path.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <string>

#include "platform/files/PathBuffer.h"
#include "support/AllocationCount.h"

namespace {

using namespace ox;

struct PathRow {
  std::string path;
  std::string lastComponent;
  std::string extension;
  std::string withoutExtension;
  std::string withoutLastComponent;
};

const std::string longName = std::string(251, 'n') + ".zip";
const std::string notUtf8 = "\xff\xfe.\x80";

const auto pathRows = std::to_array<PathRow>({
    {"", "", "", "", ""},
    {"/", "", "", "/", "/"},
    {"//", "", "", "//", "/"},
    {"a", "a", "", "a", ""},
    {"a/", "a", "", "a/", ""},
    {"a//", "a", "", "a//", ""},
    {"/a", "a", "", "/a", "/"},
    {"//a", "a", "", "//a", "/"},
    {"/a/", "a", "", "/a/", "/"},
    {"a/b", "b", "", "a/b", "a"},
    {"a//b", "b", "", "a//b", "a"},
    {"a/b//", "b", "", "a/b//", "a"},
    {"/a/b", "b", "", "/a/b", "/a"},
    {"/a.b/c", "c", "", "/a.b/c", "/a.b"},
    {"/a/b.c", "b.c", "c", "/a/b", "/a"},
    {"a.b/.c", ".c", "", "a.b/.c", "a.b"},
    {"a.", "a.", "", "a.", ""},
    {"a./", "a.", "", "a./", ""},
    {"a..", "a..", "", "a..", ""},
    {"a..b", "a..b", "b", "a.", ""},
    {".", ".", "", ".", ""},
    {"..", "..", "", "..", ""},
    {"...", "...", "", "...", ""},
    {"/.", ".", "", "/.", "/"},
    {"/..", "..", "", "/..", "/"},
    {".gz", ".gz", "", ".gz", ""},
    {"/.gz", ".gz", "", "/.gz", "/"},
    {".gz/", ".gz", "", ".gz/", ""},
    {".tar.gz", ".tar.gz", "gz", ".tar", ""},
    {"..gz", "..gz", "gz", ".", ""},
    {"...gz", "...gz", "gz", "..", ""},
    {"a.tar.gz", "a.tar.gz", "gz", "a.tar", ""},
    {"a.tar.gz/", "a.tar.gz", "gz", "a.tar", ""},
    {"a.tar.gz//", "a.tar.gz", "gz", "a.tar", ""},
    {"a. b", "a. b", " b", "a", ""},
    {notUtf8, notUtf8, "\x80", "\xff\xfe", ""},
    {"/d/" + notUtf8, notUtf8, "\x80", "/d/\xff\xfe", "/d"},
    {longName, longName, "zip", std::string(251, 'n'), ""},
    {std::string("a\0b.c\0d", 7), std::string("a\0b.c\0d", 7), std::string("c\0d", 3),
     std::string("a\0b", 3), ""},
});

TEST(Path, TakesPathsApart) {
  for (const PathRow& row : pathRows) {
    SCOPED_TRACE(testing::PrintToString(row.path));
    EXPECT_EQ(path::lastComponent(row.path), row.lastComponent);
    EXPECT_EQ(path::extension(row.path), row.extension);
    EXPECT_EQ(path::deletingExtension(row.path), row.withoutExtension);
    EXPECT_EQ(path::deletingLastComponent(row.path), row.withoutLastComponent);
  }
}

TEST(Path, TakesPathsApartWithoutTheHeap) {
  for (const PathRow& row : pathRows) {
    const test::AllocationCount allocations;
    static_cast<void>(path::lastComponent(row.path));
    static_cast<void>(path::extension(row.path));
    static_cast<void>(path::deletingExtension(row.path));
    static_cast<void>(path::splitExtension(row.path));
    static_cast<void>(path::deletingLastComponent(row.path));
    EXPECT_EQ(allocations.count(), 0U) << row.path;
  }
}

struct JoinRow {
  std::string path;
  std::string component;
  std::string joined;
};

const auto joinRows = std::to_array<JoinRow>({
    {"", "", ""},
    {"", "b", "b"},
    {"", "/b", "/b"},
    {"a", "", "a"},
    {"a/", "", "a/"},
    {"a", "b", "a/b"},
    {"a/", "b", "a/b"},
    {"a//", "b", "a/b"},
    {"a", "/b", "a/b"},
    {"a//", "//b", "a/b"},
    {"a", "/", "a"},
    {"a/", "//", "a/"},
    {"/", "b", "/b"},
    {"//", "b", "/b"},
    {"/", "", "/"},
    {"a", "b/", "a/b/"},
    {"a", "b/c", "a/b/c"},
    {"/a.b", ".orvx.XXXXXX", "/a.b/.orvx.XXXXXX"},
    {notUtf8, notUtf8, notUtf8 + "/" + notUtf8},
    {"/d", longName, "/d/" + longName},
});

TEST(Path, AppendsAComponent) {
  for (const JoinRow& row : joinRows) {
    SCOPED_TRACE(testing::PrintToString(row.path) + " + " + testing::PrintToString(row.component));
    EXPECT_EQ(path::appendingComponent(row.path, row.component), row.joined);
    std::string inPlace = row.path;
    path::appendComponent(inPlace, row.component);
    EXPECT_EQ(inPlace, row.joined);
  }
}

TEST(Path, LosesTrailingSlashesButForARoots) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""}, {"/", "/"}, {"//", "/"}, {"a", "a"}, {"a/", "a"}, {"a//", "a"}, {"//a//", "//a"},
  };
  for (const auto& [path, trimmed] : rows) {
    EXPECT_EQ(path::withoutTrailingSlashes(path), trimmed) << path;
  }
}

TEST(Path, JoinsWithOneAllocation) {
  const std::string folder(100, 'f');
  const test::AllocationCount component;
  const std::string joined = path::appendingComponent(folder, "component");
  EXPECT_EQ(component.count(), 1U);
}

TEST(Path, ComparesIgnoringTheCaseOfAsciiAlone) {
  EXPECT_TRUE(path::equalIgnoringCase("tar", "TaR"));
  EXPECT_TRUE(path::equalIgnoringCase("", ""));
  EXPECT_FALSE(path::equalIgnoringCase("tar", "ta"));
  EXPECT_FALSE(path::equalIgnoringCase("ta", "tar"));
  EXPECT_FALSE(path::equalIgnoringCase("tar", "t@r"));
  EXPECT_FALSE(path::equalIgnoringCase("[", "{"));
  EXPECT_FALSE(path::equalIgnoringCase("@", "`"));
  EXPECT_FALSE(path::equalIgnoringCase("\xc3\x84", "\xc3\xa4"));
}

TEST(PathBuffer, HoldsWhatASystemCallTakes) {
  const std::string longest(PATH_MAX - 1, 'a');
  EXPECT_TRUE(PathBuffer(longest).isRepresentable());
  EXPECT_STREQ(PathBuffer(longest).c_str(), longest.c_str());
  EXPECT_TRUE(PathBuffer("").isRepresentable());
  EXPECT_STREQ(PathBuffer("").c_str(), "");
}

TEST(PathBuffer, RefusesWhatNoSystemCallTakes) {
  EXPECT_FALSE(PathBuffer(std::string(PATH_MAX, 'a')).isRepresentable());
  EXPECT_FALSE(PathBuffer(std::string_view("a\0b", 3)).isRepresentable());
  EXPECT_FALSE(PathBuffer(std::string_view("\0", 1)).isRepresentable());
  EXPECT_STREQ(PathBuffer(std::string_view("a\0b", 3)).c_str(), "");
}

}  // namespace

// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "console/Failure.h"
#include "console/Printable.h"
#include "system/PathText.h"

namespace {

using namespace oxarchive;

struct PathRow {
  std::string path;
  std::optional<std::string> expected;  // none: refused
};

const PathRow pathRows[] = {
    {"a", "a"},
    {"a/b", "a/b"},
    {"a/", "a"},
    {"./a", "a"},
    {"a//b", "a/b"},
    {"./a/./b/.", "a/b"},
    {".", ""},
    {"./", ""},
    {"././/.", ""},
    {"...", "..."},
    {"..a", "..a"},
    {"a..", "a.."},
    {".a", ".a"},
    {" ", " "},
    {"a\\..\\b", "a\\..\\b"},
    {"C:/a", "C:/a"},
    {"~/a", "~/a"},
    {"\xff\n", "\xff\n"},
    {std::string(4095, 'a'), std::string(4095, 'a')},
    {"", std::nullopt},
    {"/", ""},
    {"/a", "a"},
    {"//a/b", "a/b"},
    {"/../a", std::nullopt},
    {"..", std::nullopt},
    {"../a", std::nullopt},
    {"a/..", std::nullopt},
    {"a/../b", std::nullopt},
    {"a/../", std::nullopt},
    {"./..", std::nullopt},
    {"a//..//b", std::nullopt},
    {std::string(4096, 'a'), std::nullopt},
};

TEST(EntryPath, StaysInTheFolder) {
  for (const PathRow& row : pathRows) {
    SCOPED_TRACE(testing::PrintToString(row.path));
    if (row.expected) {
      EXPECT_EQ(pathInFolder(row.path), *row.expected);
    } else {
      EXPECT_THROW(pathInFolder(row.path), EntryFailure);
    }
  }
}

TEST(EntryPath, IsTakenApart) {
  EXPECT_EQ(parentOf("a/b/c"), "a/b");
  EXPECT_EQ(nameOf("a/b/c"), "c");
  EXPECT_EQ(parentOf("a"), "");
  EXPECT_EQ(nameOf("a"), "a");
  EXPECT_EQ(parentOf(""), "");
  EXPECT_EQ(nameOf(""), "");
}

struct LinkRow {
  std::string path;
  std::string target;
  bool stays;
};

const LinkRow linkRows[] = {
    {"l", "a", true},
    {"l", "a/b", true},
    {"l", ".", true},
    {"l", "./a/.", true},
    {"l", "a//b/", true},
    {"l", "...", true},
    {"d/l", "..", true},
    {"d/l", "../", true},
    {"d/l", "../a", true},
    {"d/l", "./../a", true},
    {"d/e/l", "../../a/b", true},
    {"l", "", false},
    {"l", "/", false},
    {"l", "/etc/passwd", false},
    {"l", "..", false},
    {"l", "../a", false},
    {"l", "./..", false},
    {"d/l", "../..", false},
    {"d/l", "../../d", false},
    {"d/e/l", "../../../a", false},
    // After a name, the meaning of ".." depends on where that name leads.
    {"l", "a/..", false},
    {"l", "a/../b", false},
    {"d/l", "a/../b", false},
    {"d/l", "../a/..", false},
    {"d/l", "p/p/../..", false},
};

TEST(EntryPath, LinksStayInTheFolder) {
  for (const LinkRow& row : linkRows) {
    SCOPED_TRACE(row.path + " -> " + row.target);
    EXPECT_EQ(linkStaysInFolder(row.path, row.target), row.stays);
  }
}

struct PrintableRow {
  std::string bytes;
  std::string expected;
};

// Changes the text direction; written as bytes so that this source stays readable.
const std::string rightToLeft = {'\xe2', '\x80', '\xae'};

const PrintableRow printableRows[] = {
    {"", ""},
    {"a b.txt", "a b.txt"},
    {"\\", R"(\)"},
    {"a\\b\\\\", R"(a\b\\)"},
    {"\\xff", R"(\x5cxff)"},  // a name that looks like an escape
    {"\xc3\xa4\xe2\x82\xac\xf0\x9f\x93\xa6", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x93\xa6"},
    {"a\nb", R"(a\x0ab)"},
    {"\x1b[2J", R"(\x1b[2J)"},
    {"\t\r\x7f", R"(\x09\x0d\x7f)"},
    {std::string("\0", 1), R"(\x00)"},
    {"\xc2\x9b", R"(\xc2\x9b)"},  // the terminal's 8-bit ESC [
    {"\x9b", R"(\x9b)"},          // the same, not UTF-8
    {"\xff.zip", R"(\xff.zip)"},
    {"\xc3", R"(\xc3)"},  // truncated
    {"\xe2\x82", R"(\xe2\x82)"},
    {"\xc3(", R"(\xc3()"},
    {"\xc0\xaf", R"(\xc0\xaf)"},  // overlong
    {"\xe0\x80\xaf", R"(\xe0\x80\xaf)"},
    {"\xed\xa0\x80", R"(\xed\xa0\x80)"},                         // a surrogate
    {"\xf4\x90\x80\x80", R"(\xf4\x90\x80\x80)"},                 // above U+10FFFF
    {"a" + rightToLeft + "gpj.exe", R"(a\xe2\x80\xaegpj.exe)"},  // changes the direction
    {"\xe2\x80\xa8", R"(\xe2\x80\xa8)"},                         // line separator
    {"a\xe2\x80\x8b", R"(a\xe2\x80\x8b)"},                       // zero-width space
    {"\xef\xbb\xbf"
     "a",
     R"(\xef\xbb\xbfa)"},                 // a byte order mark
    {"\xc2\xad", R"(\xc2\xad)"},          // a soft hyphen
    {"\xe3\x85\xa4", R"(\xe3\x85\xa4)"},  // a letter that is blank
    {"e\xcc\x81", "e\xcc\x81"},           // an accent
    {"a\xcd\x8f", R"(a\xcd\x8f)"},        // an invisible accent, U+034F
    {"a\xe1\x9e\xb4", R"(a\xe1\x9e\xb4)"},
    {"a\xe1\xa0\x8b", R"(a\xe1\xa0\x8b)"},
    {"a\xef\xb8\x8f", R"(a\xef\xb8\x8f)"},  // chooses a variant, U+FE0F
    {"a\xf3\xa0\x84\x80", R"(a\xf3\xa0\x84\x80)"},
    {"a\xf3\xa0\x87\xaf", R"(a\xf3\xa0\x87\xaf)"},
};

TEST(Printable, LeavesNothingThatSteersATerminal) {
  for (const PrintableRow& row : printableRows) {
    SCOPED_TRACE(row.expected);
    EXPECT_EQ(printable(row.bytes), row.expected);
  }
}

TEST(Printable, CountsAndCutsCells) {
  EXPECT_EQ(cellCount(""), 0U);
  EXPECT_EQ(cellCount("a\xc3\xa4\xe2\x82\xac"), 3U);
  EXPECT_EQ(lastCells("abc", 3), "abc");
  EXPECT_EQ(lastCells("abcd", 3), "…cd");
  EXPECT_EQ(lastCells("a\xc3\xa4\xc3\xb6", 2), "…\xc3\xb6");
  EXPECT_EQ(lastCells("abcd", 1), "…");
  EXPECT_EQ(firstCells("abc", 3), "abc");
  EXPECT_EQ(firstCells("abcd", 3), "ab…");
  EXPECT_EQ(firstCells("a\xc3\xa4\xc3\xb6", 2), "a…");
  EXPECT_EQ(firstCells("\xc3\xa4\xc3\xb6\xc3\xbc", 2), "\xc3\xa4…");
  EXPECT_EQ(firstCells("abcd", 1), "…");
  const std::string wide = "\xe6\x97\xa5\xe6\x9c\xac";  // two characters of two cells each
  EXPECT_EQ(cellCount(wide), 4U);
  EXPECT_EQ(cellCount("e\xcc\x81"), 1U);
  EXPECT_EQ(firstCells(wide, 4), wide);
  EXPECT_EQ(firstCells(wide, 3), wide.substr(0, 3) + "…");
  EXPECT_EQ(firstCells(wide, 2), "…");
  EXPECT_EQ(lastCells(wide, 4), wide);
  EXPECT_EQ(lastCells(wide, 3), "…" + wide.substr(3));
  EXPECT_EQ(lastCells(wide, 2), "…");
}

}  // namespace

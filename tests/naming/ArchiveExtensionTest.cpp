// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "support/AllocationCount.h"
#include "support/ManyStrings.h"
#include "support/ObservedSystem.h"
#include "support/PlainNaming.h"

namespace {

using namespace ox;
using namespace std::string_literals;
using OXFileUtilAdditions::archiveExtension;
using OXFileUtilAdditions::stringByDeletingArchiveExtension;

struct ExtensionRow {
  OXString path;
  OXString extension;
  OXString base;
};

// Too long for the small-string buffer.
const std::string longStem(200, 's');
const std::string longExtension(55, 'e');

const auto extensionRows = std::to_array<ExtensionRow>({
    {std::nullopt, std::nullopt, std::nullopt},
    {"", "", ""},

    // One extension.
    {"report.pdf", "pdf", "report"},
    {"a.gz", "gz", "a"},
    {"a.b.zip", "zip", "a.b"},
    {"x.7z.001", "001", "x.7z"},
    {"x.tar", "tar", "x"},
    {"x.TAR", "TAR", "x"},
    {"a.b", "b", "a"},
    {"a b.c d", "c d", "a b"},
    {"a. ", " ", "a"},

    // "tar" in any case makes it two; the result has "tar" in lower case and keeps the rest.
    {"photos.tar.gz", "tar.gz", "photos"},
    {"photos.Tar.bz2", "tar.bz2", "photos"},
    {"X.TAR.GZ", "tar.GZ", "X"},
    {"X.tAr.Gz", "tar.Gz", "X"},
    {"x.tar.tar", "tar.tar", "x"},
    {"x.tar.tar.tar", "tar.tar", "x.tar"},
    {"x.y.tar.xz", "tar.xz", "x.y"},
    {"x.tar.7z.001", "001", "x.tar.7z"},
    {"a.tar.b", "tar.b", "a"},
    {"a. tar.gz", "gz", "a. tar"},
    {"a.tar .gz", "gz", "a.tar "},
    {"a.tarr.gz", "gz", "a.tarr"},
    {"a.ta.gz", "gz", "a.ta"},
    {"a.ttar.gz", "gz", "a.ttar"},
    {"a.tar..gz", "gz", "a.tar."},
    {"a..tar.gz", "tar.gz", "a."},
    {"a.t\xc3\xa4r.gz", "gz", "a.t\xc3\xa4r"},

    // The name "tar" is no extension.
    {"tar.gz", "gz", "tar"},
    {"TAR.GZ", "GZ", "TAR"},
    {"/d/tar.gz", "gz", "/d/tar"},
    {"x.tar/tar.gz", "gz", "x.tar/tar"},
    {"x.tar/gz", "", "x.tar/gz"},
    {"x.tar/y.gz", "gz", "x.tar/y"},
    {"x/.tar.gz", "gz", "x/.tar"},

    // No extension.
    {"README", "", "README"},
    {"dir/", "", "dir/"},
    {"/a.b/c", "", "/a.b/c"},
    {"/a.tar.gz/c", "", "/a.tar.gz/c"},
    {"/", "", "/"},
    {"//", "", "//"},
    {"a.", "", "a."},
    {"a..", "", "a.."},
    {"a.tar.", "", "a.tar."},
    {"a./", "", "a./"},
    {".", "", "."},
    {"..", "", ".."},
    {"...", "", "..."},
    {"/.", "", "/."},
    {"a/..", "", "a/.."},

    // A hidden name is not an extension, and no name becomes empty.
    {".gz", "", ".gz"},
    {"/d/.gz", "", "/d/.gz"},
    {".gz/", "", ".gz/"},
    {".tar.gz", "gz", ".tar"},
    {".a.tar.gz", "tar.gz", ".a"},
    {"..gz", "gz", "."},
    {"..tar.gz", "tar.gz", "."},
    {"...gz", "gz", ".."},
    {"..tar", "tar", "."},

    // Slashes at the end do not count for the extension, but they do for the truncation.
    {"ab.gz/", "gz", "ab."},
    {"a.gz/", "gz", "a."},
    {"a.gz//", "gz", "a.g"},
    {"a.tar.gz/", "tar.gz", "a."},
    {"a.tar.gz//", "tar.gz", "a.t"},
    {"/d/photos.tar.gz/", "tar.gz", "/d/photos."},

    // Bytes are not changed.
    {"\xff\xfe.\x80", "\x80", "\xff\xfe"},
    {"\xff.tar.\xfe", "tar.\xfe", "\xff"},
    {"\xc3\xa9t\xc3\xa9.tar.gz", "tar.gz", "\xc3\xa9t\xc3\xa9"},
    {"a.\xe6\x96\x87", "\xe6\x96\x87", "a"},
    {"a\nb.tar.gz\n", "tar.gz\n", "a\nb"},
    {"a\0b.c\0d"s, "c\0d"s, "a\0b"s},
    {"a.tar\0.gz"s, "gz", "a.tar\0"s},
    {"a.\0"s, "\0"s, "a"},
    {"a.tar.gz\0"s, "tar.gz\0"s, "a"},

    // Long names.
    {std::string(251, 'n') + ".zip", "zip", std::string(251, 'n')},
    {longStem + "." + longExtension, longExtension, longStem},
    {longStem + ".TaR." + longExtension, "tar." + longExtension, longStem},
    {longStem, "", longStem},
    {"a." + std::string(100'000, 'e'), std::string(100'000, 'e'), "a"},
    {std::string(100'000, '/') + "a.tar.gz", "tar.gz", std::string(100'000, '/') + "a"},
});

TEST(ArchiveExtension, IsFoundAndDeleted) {
  for (const ExtensionRow& row : extensionRows) {
    SCOPED_TRACE(testing::PrintToString(row.path));
    EXPECT_EQ(archiveExtension(row.path), row.extension);
    EXPECT_EQ(stringByDeletingArchiveExtension(row.path), row.base);
  }
}

// An argument is a view, which need not be NUL-terminated.
TEST(ArchiveExtension, ReadsNothingBeyondThePath) {
  for (const ExtensionRow& row : extensionRows) {
    if (row.path) {
      SCOPED_TRACE(testing::PrintToString(row.path));
      const std::vector<char> exact(row.path->begin(), row.path->end());
      const std::string_view path(exact.data(), exact.size());
      EXPECT_EQ(archiveExtension(path), row.extension);
      EXPECT_EQ(stringByDeletingArchiveExtension(path), row.base);
    }
  }
  const std::string_view longer = "x.tar.gzip";
  EXPECT_EQ(archiveExtension(longer.substr(0, 8)), "tar.gz");
  EXPECT_EQ(stringByDeletingArchiveExtension(longer.substr(0, 8)), "x");
}

TEST(ArchiveExtension, LeavesTheDiskAlone) {
  const test::ObservedSystem system;
  for (const ExtensionRow& row : extensionRows) {
    archiveExtension(row.path);
    stringByDeletingArchiveExtension(row.path);
  }
  EXPECT_EQ(system.count(), 0);
}

TEST(ArchiveExtension, AllocatesItsResultAlone) {
  for (const ExtensionRow& row : extensionRows) {
    SCOPED_TRACE(testing::PrintToString(row.path));
    const std::size_t inPlace = std::string().capacity();
    const test::AllocationCount forExtension;
    const OXString extension = archiveExtension(row.path);
    EXPECT_EQ(forExtension.count(), extension && extension->size() > inPlace ? 1U : 0U);
    const test::AllocationCount forBase;
    const OXString base = stringByDeletingArchiveExtension(row.path);
    EXPECT_EQ(forBase.count(), base && base->size() > inPlace ? 1U : 0U);
  }
}

TEST(ArchiveExtension, ThrowsWhenThereIsNoMemory) {
  const std::string path = longStem + ".tar." + longExtension;
  const test::AllocationFailure noMemory;
  EXPECT_THROW(archiveExtension(path), std::bad_alloc);
  EXPECT_THROW(stringByDeletingArchiveExtension(path), std::bad_alloc);
}

// The rules in a second implementation ---------------------------------------------------------

// Compares, and counts the branches that the strings take, so that none is left uncompared.
class ExtensionComparison {
 public:
  void operator()(const std::string& path) {
    const test::plain::ArchiveExtension plain = test::plain::archiveExtension(path);
    ++taken_.at(plain.branch);
    EXPECT_EQ(archiveExtension(path), plain.extension) << "of " << testing::PrintToString(path);
    EXPECT_EQ(stringByDeletingArchiveExtension(path), test::plain::deletingArchiveExtension(path))
        << "of " << testing::PrintToString(path);
  }

  void expectEveryBranchTaken() const {
    for (const int count : taken_) {
      EXPECT_GT(count, 0) << testing::PrintToString(taken_);
    }
  }

 private:
  std::array<int, test::plain::ArchiveExtension::branchCount> taken_{};
};

TEST(ArchiveExtensionAgainstPlainStatement, OfEveryShortString) {
  ExtensionComparison compare;
  test::forEveryString(test::letters(), test::mostLetters,
                       [&](const std::string& path) { compare(path); });
}

TEST(ArchiveExtensionAgainstPlainStatement, OfEveryShortRunOfParts) {
  ExtensionComparison compare;
  test::forEveryString({"tar", "TaR", "gz", ".", "/", "a"}, test::mostLetters,
                       [&](const std::string& path) { compare(path); });
  compare.expectEveryBranchTaken();
}

TEST(ArchiveExtensionAgainstPlainStatement, OfRandomStrings) {
  const test::Alphabet alphabet{"part", "tar", "TAR", "Tar", "ta",   "rar", "RAR",      "gz", ".",
                                ".",    ".",   ".",   "/",   "r",    "R",   "0",        "1",  "29",
                                "a",    " ",   "t",   "T",   "\xff", "\n",  "\xc3\xa4", "\0"s};
  for (const char* const start : {"", "tar", ".tar", "part", "rar", "x.tar.", "x.TAR."}) {
    ExtensionComparison compare;
    test::forRandomStrings(alphabet, 10, 2,
                           [&](const std::string& path) { compare(start + path); });
    compare.expectEveryBranchTaken();
  }
}

}  // namespace

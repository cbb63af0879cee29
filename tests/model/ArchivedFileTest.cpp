// SPDX-License-Identifier: MIT

#include "OrvexKit/OXArchivedFile.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "support/AllocationCount.h"

namespace {

using Double = std::numeric_limits<double>;

// A listing may have a million of these, so a record must not grow by accident.
static_assert(sizeof(OXArchivedFile) == sizeof(std::string) + (sizeof(void*) == 8 ? 56 : 48));
static_assert(!std::is_copy_constructible_v<OXArchivedFile>);
static_assert(!std::is_copy_assignable_v<OXArchivedFile>);
static_assert(std::is_same_v<decltype(OXArchivedFile().fileId()), std::uintptr_t>);

const std::string longPath = "docs/" + std::string(100, 'x') + ".txt";

TEST(ArchivedFile, StartsEmpty) {
  const OXArchivedFile file;
  EXPECT_EQ(file.path(), std::nullopt);
  EXPECT_EQ(file.fileId(), 0U);
  EXPECT_EQ(file.actualSize(), 0U);
  EXPECT_EQ(file.compressedSize(), 0U);
  EXPECT_EQ(file.checksum(), 0U);
  EXPECT_EQ(file.modificationTime(), std::nullopt);
  EXPECT_FALSE(file.isFolder());
  EXPECT_FALSE(file.isEncrypted());
}

TEST(ArchivedFile, KeepsWhatIsSet) {
  OXArchivedFile file;
  file.setPath("docs/a.txt");
  file.setFileId(std::numeric_limits<OXUnsignedWord>::max());
  file.setActualSize((std::uint64_t{1} << 32U) + 1);
  file.setCompressedSize(std::numeric_limits<std::uint64_t>::max());
  file.setChecksum(0xdeadbeefU);
  file.setModificationTime(OXDate(OXDate::duration(1.25)));
  file.setIsFolder(true);
  EXPECT_FALSE(file.isEncrypted());
  file.setIsEncrypted(true);
  file.setIsFolder(false);

  EXPECT_EQ(file.path(), "docs/a.txt");
  EXPECT_EQ(file.fileId(), std::numeric_limits<OXUnsignedWord>::max());
  EXPECT_EQ(file.actualSize(), 4294967297U);
  EXPECT_EQ(file.compressedSize(), 18446744073709551615U);
  EXPECT_EQ(file.checksum(), 0xdeadbeefU);
  EXPECT_EQ(file.modificationTime(), OXDate(OXDate::duration(1.25)));
  EXPECT_FALSE(file.isFolder());
  EXPECT_TRUE(file.isEncrypted());
}

struct PathRow {
  OXString given;
  OXString kept;
};

const PathRow pathRows[] = {
    {"docs", "docs"},
    {"docs/", "docs"},
    {"a/b/", "a/b"},
    {"a/b//", "a/b/"},
    {"/", ""},
    {"//", "/"},
    {"/a", "/a"},
    {"a/.", "a/."},
    {" ", " "},
    {std::string("a\0/", 3), std::string("a\0", 2)},
    {"\xff\xfe/", "\xff\xfe"},
    {longPath, longPath},
    {longPath + "/", longPath},
    {std::nullopt, std::nullopt},
};

TEST(ArchivedFile, DropsOneSlashFromThePathsEnd) {
  for (const PathRow& row : pathRows) {
    SCOPED_TRACE(testing::PrintToString(row.given));
    for (const OXString& before : {OXString(), OXString("before"), OXString(longPath + "?")}) {
      OXArchivedFile file;
      file.setPath(before);
      file.setPath(row.given);
      EXPECT_EQ(file.path(), row.kept) << "a view";

      file.setPath(before);
      file.setPath(OXString(row.given));
      EXPECT_EQ(file.path(), row.kept) << "an OXString rvalue";

      if (row.given) {
        file.setPath(before);
        file.setPath(std::string(*row.given));
        EXPECT_EQ(file.path(), row.kept) << "a std::string rvalue";
      }
    }
  }
}

TEST(ArchivedFile, TakesAnyKindOfString) {
  OXArchivedFile file;
  const std::string constant = "constant";
  file.setPath(constant);
  EXPECT_EQ(file.path(), "constant");
  file.setPath(std::string_view("viewed").substr(0, 4));
  EXPECT_EQ(file.path(), "view");
  file.setPath({});
  EXPECT_EQ(file.path(), std::nullopt);
  file.setPath("literal");
  EXPECT_EQ(file.path(), "literal");
  file.setPath(std::nullopt);
  EXPECT_EQ(file.path(), std::nullopt);
}

TEST(ArchivedFile, RefusesAnEmptyPathAndKeepsTheOldOne) {
  for (const OXString& before : {OXString(), OXString("before")}) {
    OXArchivedFile file;
    file.setPath(before);
    EXPECT_THROW(file.setPath(""), std::out_of_range);
    EXPECT_THROW(file.setPath(std::string()), std::out_of_range);
    EXPECT_THROW(file.setPath(OXString("")), std::out_of_range);
    EXPECT_EQ(file.path(), before);
  }
}

TEST(ArchivedFile, TakesAPartOfItsOwnPath) {
  OXArchivedFile file;
  file.setPath("folder/" + longPath + "/");
  file.setPath(std::string_view(*file.path()).substr(7));
  EXPECT_EQ(file.path(), longPath);
  file.setPath(file.path());
  EXPECT_EQ(file.path(), longPath);
}

TEST(ArchivedFile, MovesAStringInThatIsGivenAway) {
  OXArchivedFile file;
  std::string given = longPath + "/";
  const void* const bytes = given.data();
  const ox::test::AllocationCount allocations;
  file.setPath(std::move(given));
  EXPECT_EQ(allocations.count(), 0U);
  EXPECT_EQ(file.path()->data(), bytes);
  EXPECT_EQ(file.path(), longPath);
}

TEST(ArchivedFile, KeepsAnyDate) {
  OXArchivedFile file;
  for (const double seconds : {0.0, -0.0, 1.5, -1.5, -6.1e10, 1.7e9, 1e300, Double::denorm_min(),
                               Double::infinity(), -Double::infinity()}) {
    SCOPED_TRACE(seconds);
    file.setModificationTime(OXDate(OXDate::duration(seconds)));
    ASSERT_TRUE(file.modificationTime().has_value());
    EXPECT_EQ(std::bit_cast<std::uint64_t>(file.modificationTime()->time_since_epoch().count()),
              std::bit_cast<std::uint64_t>(seconds));
  }
  file.setModificationTime(std::nullopt);
  EXPECT_EQ(file.modificationTime(), std::nullopt);
}

TEST(ArchivedFile, TellsADateThatIsNotANumberFromNoDate) {
  for (const std::uint64_t bits :
       {std::bit_cast<std::uint64_t>(Double::quiet_NaN()),
        std::bit_cast<std::uint64_t>(-Double::quiet_NaN()), 0x7fffffffffffffffU,
        0xffffffffffffffffU, 0xfffffffffffffffeU, 0x7ff0000000000001U}) {
    SCOPED_TRACE(testing::Message() << std::hex << bits);
    OXArchivedFile file;
    file.setModificationTime(OXDate(OXDate::duration(std::bit_cast<double>(bits))));
    ASSERT_TRUE(file.modificationTime().has_value());
    EXPECT_TRUE(std::isnan(file.modificationTime()->time_since_epoch().count()));
  }
}

TEST(ArchivedFile, DescribesItselfByItsPath) {
  const std::pair<OXString, std::string> rows[] = {
      {"docs/a.txt", "[Archived File] : docs/a.txt"},
      {"docs/", "[Archived File] : docs"},
      {"/", "[Archived File] : "},
      {"100%@ %s", "[Archived File] : 100%@ %s"},
      {std::nullopt, "[Archived File] : (null)"},
  };
  for (const auto& [path, description] : rows) {
    SCOPED_TRACE(description);
    OXArchivedFile file;
    file.setPath(path);
    const OXObject& object = file;
    EXPECT_EQ(object.description(), description);
  }
}

TEST(ArchivedFile, IsEqualToItselfAlone) {
  OXArchivedFile file;
  OXArchivedFile twin;
  for (OXArchivedFile* const each : {&file, &twin}) {
    each->setPath("same");
    each->setFileId(1);
  }
  EXPECT_TRUE(file.isEqual(&file));
  EXPECT_FALSE(file.isEqual(&twin));
  EXPECT_FALSE(file.isEqual(nullptr));
  EXPECT_EQ(file.hash(), file.hash());
  EXPECT_NE(file.hash(), twin.hash());
}

TEST(ArchivedFile, ReleasesItsPath) {
  const std::string_view mark = "a path that is looked for in memory that was given back";
  const ox::test::FreedMemoryWatch watch(mark);
  auto file = std::make_unique<OXArchivedFile>();
  file->setPath(mark);
  EXPECT_EQ(watch.found(), 0U);
  file.reset();
  EXPECT_EQ(watch.found(), 1U);
}

}  // namespace

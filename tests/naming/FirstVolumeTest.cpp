// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "support/AllocationCount.h"
#include "support/ManyStrings.h"
#include "support/ObservedSystem.h"
#include "support/PlainNaming.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox;
using namespace std::string_literals;
using test::Call;

// A volume, and the name of its first volume in the same folder: empty if that is the volume
// itself, or if the name is not a volume's.
struct VolumeRow {
  std::string volume;
  std::string first;
};

// Too long for the small-string buffer.
const std::string longName(200, 's');

const auto volumeRows = std::to_array<VolumeRow>({
    // "name.partN.rar"
    {"movie.part03.rar", "movie.part01.rar"},
    {"movie.part3.rar", "movie.part1.rar"},
    {"x.part003.rar", "x.part001.rar"},
    {"x.part12345678.rar", "x.part00000001.rar"},
    {"movie.part00.rar", "movie.part01.rar"},
    {"movie.part0.rar", "movie.part1.rar"},
    {"movie.part1.rar", ""},
    {"movie.part01.rar", ""},
    {"movie.part001.rar", ""},
    // The characters after "part" are counted, not parsed.
    {"movie.partial.rar", "movie.part001.rar"},
    {"movie.parts.rar", "movie.part1.rar"},
    {"movie.party time.rar", "movie.part000001.rar"},
    {"movie.part\xc3\xa9.rar", "movie.part01.rar"},
    {"movie.part\xff.rar", "movie.part1.rar"},
    {"movie.part-1.rar", "movie.part01.rar"},
    // At least one character follows "part".
    {"movie.part.rar", ""},
    {"movie.par.rar", ""},
    {"movie.rar", ""},
    {"movie.xpart03.rar", ""},
    {"movie. part03.rar", ""},
    {"movie.part03..rar", ""},
    {"movie.part03.x.rar", ""},
    // Both comparisons are case-sensitive.
    {"movie.PART03.rar", ""},
    {"movie.Part03.rar", ""},
    {"movie.part03.RAR", ""},
    {"movie.part03.Rar", ""},
    {"movie.part03.rars", ""},
    {"movie.part03.zip", ""},
    // The part must be an extension.
    {"part03.rar", ""},
    {".part03.rar", ""},
    {"..part03.rar", "..part01.rar"},
    {"a.part03.part04.rar", "a.part03.part01.rar"},
    {"a.part03.rar.part04.rar", "a.part03.rar.part01.rar"},
    {"movie..part03.rar", "movie..part01.rar"},
    {".hidden.part2.rar", ".hidden.part1.rar"},

    // "name.rar", "name.r00"
    {"movie.r07", "movie.rar"},
    {"movie.r00", "movie.rar"},
    {"movie.r99", "movie.rar"},
    {"movie.r100", "movie.rar"},
    {"movie.r0", "movie.rar"},
    {"x.r", "x.rar"},
    {"a.b.r07", "a.b.rar"},
    {"movie.part03.r07", "movie.part03.rar"},
    {"movie.rar.r07", "movie.rar.rar"},
    {"..r07", "..rar"},
    {"x.R00", ""},
    {"x.R", ""},
    {"x.z01", ""},
    {"x.s00", ""},
    {"x.rr0", ""},
    {"x.r0r", ""},
    {"x.r0a", ""},
    {"x.ra0", ""},
    {"x.r-1", ""},
    {"x.r 1", ""},
    {"x. r1", ""},
    {"x.r0 ", ""},
    {"x.0r0", ""},
    {"x.r\xd9\xa1", ""},  // a digit, but not ASCII
    {"r00", ""},
    {".r00", ""},
    {"x.r07.", ""},

    // "name.ext.001", "name.ext.002"
    {"disk.7z.002", "disk.7z.001"},
    {"disk.7z.000", "disk.7z.001"},
    {"disk.7z.999", "disk.7z.001"},
    {"disk.zip.0", "disk.zip.1"},
    {"x.zip.0007", "x.zip.0001"},
    {"x.zip.1", ""},
    {"x.zip.01", ""},
    {"disk.7z.001", ""},
    {"disk.7z.0001", ""},
    {"x.tar.gz.12", "x.tar.gz.01"},
    {"x.002.003", "x.002.001"},
    {"x.part03.rar.002", "x.part03.rar.001"},
    {"x.7z.12345678901234567890", "x.7z.00000000000000000001"},
    {"..7z.002", "..7z.001"},
    {"disk.003", ""},
    {".7z.002", ""},
    {"7z.002", ""},
    {"x..002", ""},
    {"x.7z.00a", ""},
    {"x.7z.a00", ""},
    {"x.7z.0 2", ""},
    {"x.7z.-02", ""},
    {"x.7z.\xd9\xa1", ""},
    {"x.7z./", ""},
    // The digits are "0" to "9", not their neighbours.
    {"x.7z.0:2", ""},
    {"x.r0:", ""},

    // Not a volume's name.
    {"name", ""},
    {"name.mp3", ""},
    {"name.a", ""},
    {"name.", ""},
    {"name.zip", ""},
    {"x.h264", ""},
    {".rar", ""},
    {".002", ""},
    {".", ""},
    {"..", ""},
    {"...", ""},
    {"\xff\xfe", ""},

    // Slashes at the end are ignored, and the result has none.
    {"movie.part03.rar/", "movie.part01.rar"},
    {"movie.part1.rar/", "movie.part1.rar"},
    {"movie.r07//", "movie.rar"},
    {"disk.7z.002/", "disk.7z.001"},
    {"disk.7z.001/", "disk.7z.001"},
    {"disk.003/", ""},
    {"name/", ""},

    // Bytes that are not UTF-8, and long names.
    {"\xff.\xfe.002", "\xff.\xfe.001"},
    {"\xff.r00", "\xff.rar"},
    {"\xc3\xa9.part2.rar", "\xc3\xa9.part1.rar"},
    {longName + ".part" + std::string(40, '7') + ".rar",
     longName + ".part" + std::string(39, '0') + "1.rar"},
    {longName + ".7z." + std::string(40, '7'), longName + ".7z." + std::string(39, '0') + "1"},
    {longName + ".r00", longName + ".rar"},
    {longName + ".r", longName + ".rar"},
    {longName + ".7z.002//", longName + ".7z.001"},
    {longName + ".r" + std::string(40, '7'), longName + ".rar"},
    {longName + ".7z.001", ""},
    {longName + ".zip", ""},
    {std::string(246, 'n') + ".7z.0002", std::string(246, 'n') + ".7z.0001"},
});

// The folder before the name is kept in the result and otherwise has no effect.
const auto foldersBefore =
    std::to_array<std::string>({"", "/v/", "v.rar/", "/a.part2.rar/", "./", "../x.7z.002//"});

template <typename Check>
void forEachRowInEachFolder(Check check) {
  for (const std::string& folder : foldersBefore) {
    for (const VolumeRow& row : volumeRows) {
      SCOPED_TRACE(testing::PrintToString(folder + row.volume));
      check(folder + row.volume, row.first.empty() ? OXString() : folder + row.first);
    }
  }
}

// Answers existence queries in place of the disk, and records them.
class AskedDisk {
 public:
  explicit AskedDisk(bool answer) {
    system_.answerExistence([this, answer](std::string_view path) {
      asked_.emplace_back(path);
      return answer;
    });
  }

  // Since the last call.
  std::vector<std::string> takeAsked() { return std::exchange(asked_, {}); }
  const test::ObservedSystem& system() const { return system_; }

 private:
  test::ObservedSystem system_;
  std::vector<std::string> asked_;
};

TEST(FirstVolume, OfNull) {
  const test::ObservedSystem system;
  EXPECT_EQ(OXGetFirstArchiveVolumePath(std::nullopt), std::nullopt);
  EXPECT_EQ(OXGetFirstArchiveVolumePath(OXString()), std::nullopt);
  EXPECT_EQ(system.count(), 0);
}

TEST(FirstVolume, OfAPathWithoutAComponent) {
  const test::ObservedSystem system;
  for (const char* const path : {"", "/", "//"}) {
    EXPECT_EQ(OXGetFirstArchiveVolumePath(path), path);
  }
  EXPECT_EQ(system.count(), 0);
}

TEST(FirstVolume, IsNamedWhenItExists) {
  AskedDisk disk(true);
  forEachRowInEachFolder([&](const std::string& volume, const OXString& first) {
    EXPECT_EQ(OXGetFirstArchiveVolumePath(volume), first ? *first : volume);
    EXPECT_EQ(disk.takeAsked(),
              first ? std::vector<std::string>{*first} : std::vector<std::string>());
  });
  EXPECT_EQ(disk.system().count(), disk.system().count(Call::fstatat));
}

TEST(FirstVolume, IsTheGivenPathWhenNothingIsThere) {
  AskedDisk disk(false);
  forEachRowInEachFolder([&](const std::string& volume, const OXString& first) {
    EXPECT_EQ(OXGetFirstArchiveVolumePath(volume), volume);
    EXPECT_EQ(disk.takeAsked(),
              first ? std::vector<std::string>{*first} : std::vector<std::string>());
  });
  EXPECT_EQ(disk.system().count(), disk.system().count(Call::fstatat));
}

TEST(FirstVolume, IsTheGivenPathWhenTheDiskDoesNotTell) {
  for (const int error : {EACCES, ENOTDIR, ELOOP, ENAMETOOLONG, EIO, ENOMEM, EOVERFLOW}) {
    SCOPED_TRACE(error);
    test::ObservedSystem system;
    system.fail(Call::fstatat, error);
    int expectedCalls = 0;
    forEachRowInEachFolder([&](const std::string& volume, const OXString& first) {
      EXPECT_EQ(OXGetFirstArchiveVolumePath(volume), volume);
      expectedCalls += first ? 1 : 0;
      EXPECT_EQ(system.count(), expectedCalls);
    });
  }
}

// An argument is a view, which need not be NUL-terminated.
TEST(FirstVolume, ReadsNothingBeyondThePath) {
  const AskedDisk disk(true);
  forEachRowInEachFolder([](const std::string& volume, const OXString& first) {
    const std::vector<char> exact(volume.begin(), volume.end());
    EXPECT_EQ(OXGetFirstArchiveVolumePath(std::string_view(exact.data(), exact.size())),
              first ? *first : volume);
  });
  EXPECT_EQ(OXGetFirstArchiveVolumePath(std::string_view("x.r07.zip").substr(0, 5)), "x.rar");
}

// A path that the kernel cannot represent is not queried.
TEST(FirstVolume, IsNotLookedForUnderAPathThatNoCallTakes) {
  const AskedDisk disk(true);
  const std::string tooLong = "/" + std::string(PATH_MAX, 'n');
  const std::string tooLongWithR = std::string(PATH_MAX - 3, 'n') + ".r";
  const auto unrepresentable = std::to_array<std::string>({
      "a\0b.r07"s,
      "a\0b.part2.rar"s,
      "a\0b.7z.002"s,
      "a.\0.002"s,
      "/v\0/a.7z.002"s,
      tooLong + ".part02.rar",
      tooLong + ".r07",
      tooLong + ".7z.002",
      "a.r07\0"s,
      tooLongWithR,
  });
  for (const std::string& volume : unrepresentable) {
    SCOPED_TRACE(testing::PrintToString(volume));
    EXPECT_EQ(OXGetFirstArchiveVolumePath(volume), volume);
  }
  EXPECT_EQ(disk.system().count(), 0);
}

// A NUL among the counted characters does not appear in the first volume's path.
TEST(FirstVolume, MayBeNamedByAVolumeWithANul) {
  AskedDisk disk(true);
  EXPECT_EQ(OXGetFirstArchiveVolumePath("a.part\0.rar"s), "a.part1.rar");
  EXPECT_EQ(disk.takeAsked(), std::vector<std::string>{"a.part1.rar"});
}

TEST(FirstVolume, AllocatesItsResultAlone) {
  for (const bool exists : {false, true}) {
    test::ObservedSystem system;
    system.answerExistence([exists](std::string_view) { return exists; });
    forEachRowInEachFolder([](const std::string& volume, const OXString&) {
      const test::AllocationCount allocations;
      const OXString answer = OXGetFirstArchiveVolumePath(volume);
      EXPECT_EQ(allocations.count(), answer->capacity() > std::string().capacity() ? 1U : 0U);
    });
  }
}

TEST(FirstVolume, ThrowsWhenThereIsNoMemory) {
  for (const bool exists : {false, true}) {
    test::ObservedSystem system;
    system.answerExistence([exists](std::string_view) { return exists; });
    const auto paths =
        std::to_array<std::string>({longName, longName + ".r00", longName + ".part2.rar",
                                    longName + ".7z.002", longName + ".7z.001"});
    const test::AllocationFailure noMemory;
    for (const std::string& path : paths) {
      EXPECT_THROW(OXGetFirstArchiveVolumePath(path), std::bad_alloc);
    }
  }
}

// On disk
// -------------------------------------------------------------------------------------------

using FirstVolumeOnDisk = test::TemporaryFolderTest;

TEST_F(FirstVolumeOnDisk, IsNamedWhenItExistsAlone) {
  for (const VolumeRow& row : volumeRows) {
    SCOPED_TRACE(testing::PrintToString(row.volume));
    EXPECT_EQ(OXGetFirstArchiveVolumePath(in(row.volume)), in(row.volume));
    if (!row.first.empty()) {
      test::writeFile(in(row.first));
      EXPECT_EQ(OXGetFirstArchiveVolumePath(in(row.volume)), in(row.first));
      test::removeOne(in(row.first));
    }
  }
}

// The given volume need not exist, and its existence has no effect.
TEST_F(FirstVolumeOnDisk, DoesNotDependOnTheGivenVolume) {
  test::writeFile(in("x.r07"));
  EXPECT_EQ(OXGetFirstArchiveVolumePath(in("x.r07")), in("x.r07"));
  test::writeFile(in("x.rar"));
  EXPECT_EQ(OXGetFirstArchiveVolumePath(in("x.r07")), in("x.rar"));
  test::removeOne(in("x.r07"));
  EXPECT_EQ(OXGetFirstArchiveVolumePath(in("x.r07")), in("x.rar"));
  test::removeOne(in("x.rar"));
}

TEST_F(FirstVolumeOnDisk, MayBeAnyKindOfItem) {
  ASSERT_EQ(::mkdir(in("folder.rar").c_str(), 0700), 0);
  ASSERT_EQ(::mkfifo(in("pipe.rar").c_str(), 0600), 0);
  for (const char* const name : {"folder", "pipe"}) {
    const std::string first = in(name + std::string(".rar"));
    EXPECT_EQ(OXGetFirstArchiveVolumePath(in(name + std::string(".r00"))), first);
    test::removeOne(first);
  }
}

TEST_F(FirstVolumeOnDisk, IsLookedForThroughLinks) {
  ASSERT_EQ(::symlink("target", in("link.rar").c_str()), 0);
  EXPECT_EQ(OXGetFirstArchiveVolumePath(in("link.r00")), in("link.r00"))
      << "a dangling link does not exist";
  test::writeFile(in("target"));
  EXPECT_EQ(OXGetFirstArchiveVolumePath(in("link.r00")), in("link.rar"));
  test::removeOne(in("target"));
  test::removeOne(in("link.rar"));

  ASSERT_EQ(::symlink("loop.7z.001", in("loop.7z.001").c_str()), 0);
  EXPECT_EQ(OXGetFirstArchiveVolumePath(in("loop.7z.002")), in("loop.7z.002"));
  test::removeOne(in("loop.7z.001"));
}

TEST_F(FirstVolumeOnDisk, IsTheGivenPathWhereNoFirstVolumeCanBe) {
  test::writeFile(in("file"));
  const auto volumes = std::to_array<std::string>({
      in("missing/x.r00"), in("file/x.r00"),
      in(std::string(253, 'n') + ".r"),  // with ".rar" it exceeds NAME_MAX
  });
  for (const std::string& volume : volumes) {
    EXPECT_EQ(OXGetFirstArchiveVolumePath(volume), volume);
  }
  test::removeOne(in("file"));
}

TEST_F(FirstVolumeOnDisk, IsTheGivenPathInAFolderThatMayNotBeSearched) {
  OX_SKIP_AS_ROOT();
  ASSERT_EQ(::mkdir(in("closed").c_str(), 0700), 0);
  test::writeFile(in("closed/x.rar"));
  ASSERT_EQ(::chmod(in("closed").c_str(), 0600), 0);
  EXPECT_EQ(OXGetFirstArchiveVolumePath(in("closed/x.r00")), in("closed/x.r00"));
  ASSERT_EQ(::chmod(in("closed").c_str(), 0700), 0);
  EXPECT_EQ(OXGetFirstArchiveVolumePath(in("closed/x.r00")), in("closed/x.rar"));
  test::removeOne(in("closed/x.rar"));
  test::removeOne(in("closed"));
}

// The number of a first volume
// ----------------------------------------------------------------------

struct NumberRow {
  OXUnsignedWord digits;
  std::string number;
};

const auto numberRows = std::to_array<NumberRow>({
    {0, ""},
    {1, "1"},
    {2, "01"},
    {3, "001"},
    {4, "0001"},
    {20, "00000000000000000001"},
    {15, std::string(14, '0') + "1"},
    {16, std::string(15, '0') + "1"},
    {300, std::string(299, '0') + "1"},
    {1'000'000, std::string(999'999, '0') + "1"},
});

TEST(FirstVolumeExtension, IsAOneAsWideAsAsked) {
  const test::ObservedSystem system;
  for (const NumberRow& row : numberRows) {
    SCOPED_TRACE(row.digits);
    const test::AllocationCount allocations;
    const OXString number = _OXFirstArchiveVolumeExtension(row.digits);
    EXPECT_EQ(allocations.count(), row.digits > std::string().capacity() ? 1U : 0U);
    EXPECT_EQ(number, row.number);
  }
  EXPECT_EQ(system.count(), 0);
}

TEST(FirstVolumeExtension, ThrowsWhenItIsWiderThanAnyMemory) {
  constexpr OXUnsignedWord widest = std::numeric_limits<OXUnsignedWord>::max();
  for (const OXUnsignedWord digits :
       {widest, widest - 1, widest / 2 + 1, OXUnsignedWord{std::string().max_size()} + 1}) {
    SCOPED_TRACE(digits);
    EXPECT_THROW(_OXFirstArchiveVolumeExtension(digits), std::bad_alloc);
  }
}

TEST(FirstVolumeExtension, ThrowsWhenThereIsNoMemory) {
  for (const OXUnsignedWord digits :
       {OXUnsignedWord{std::string().capacity() + 1}, OXUnsignedWord{300},
        OXUnsignedWord{std::string().max_size()}}) {
    SCOPED_TRACE(digits);
    const test::AllocationFailure noMemory;
    EXPECT_THROW(_OXFirstArchiveVolumeExtension(digits), std::bad_alloc);
  }
}

// The rule in a second implementation -----------------------------------------------------------

// Compares with both answers of the disk, and counts the branches that the strings take, so that
// none is left uncompared.
class VolumeComparison {
 public:
  VolumeComparison() {
    system_.answerExistence([this](std::string_view path) {
      asked_ = path;
      return exists_;
    });
  }

  void operator()(const std::string& path) {
    const test::plain::FirstVolume plain = test::plain::firstVolume(path);
    ++taken_.at(plain.branch);
    const bool isRepresentable = plain.path.find('\0') == std::string::npos;
    const bool isLookedFor = plain.path != path && isRepresentable;
    for (const bool exists : {false, true}) {
      exists_ = exists;
      asked_.reset();
      expectedCalls_ += isLookedFor ? 1 : 0;
      EXPECT_EQ(OXGetFirstArchiveVolumePath(path), isLookedFor && exists ? plain.path : path)
          << "of " << testing::PrintToString(path);
      EXPECT_EQ(asked_, isLookedFor ? OXString(plain.path) : std::nullopt)
          << "for " << testing::PrintToString(path);
      EXPECT_EQ(system_.count(), expectedCalls_) << "for " << testing::PrintToString(path);
    }
  }

  void expectEveryBranchTaken() const {
    for (const int count : taken_) {
      EXPECT_GT(count, 0) << testing::PrintToString(taken_);
    }
  }

 private:
  test::ObservedSystem system_;
  OXString asked_;
  bool exists_ = false;
  int expectedCalls_ = 0;
  std::array<int, test::plain::FirstVolume::branchCount> taken_{};
};

TEST(FirstVolumeAgainstPlainStatement, OfEveryShortString) {
  VolumeComparison compare;
  test::forEveryString(test::letters(), test::mostLetters,
                       [&](const std::string& path) { compare(path); });
}

TEST(FirstVolumeAgainstPlainStatement, OfEveryShortRunOfParts) {
  VolumeComparison compare;
  test::forEveryString({"part", "rar", "r", "1", "0", ".", "/", "a"}, test::mostLetters,
                       [&](const std::string& path) { compare(path); });
  compare.expectEveryBranchTaken();
}

TEST(FirstVolumeAgainstPlainStatement, OfRandomStrings) {
  const test::Alphabet alphabet{
      "part", "Part", "tar", "rar", "RAR", "r", "R", "0", "1",  "29", "001",  ".",        ".",  ".",
      ".",    "/",    "a",   " ",   "x",   "p", ":", "-", "\n", "7z", "\xff", "\xc3\xa4", "\0"s};
  for (const char* const start :
       {"", "part", "tar", "rar", "x.part", "x.7z.", "x.r", "/v/x.tar."}) {
    VolumeComparison compare;
    test::forRandomStrings(alphabet, 10, 3,
                           [&](const std::string& path) { compare(start + path); });
    compare.expectEveryBranchTaken();
  }
}

TEST(FirstVolumeAgainstPlainStatement, OfRandomNumbersAndParts) {
  const test::Alphabet alphabet{"0", "1", "2", "9", "r", "a", "."};
  VolumeComparison compare;
  test::forRandomStrings(alphabet, 8, 4, [&](const std::string& number) {
    compare("/v/movie.part" + number + ".rar");
    compare("/v/movie.7z." + number);
    compare("/v/movie." + number);
    compare("/v/movie.r" + number);
  });
}

TEST(FirstVolumeAgainstPlainStatement, OfEveryWidth) {
  for (OXUnsignedWord digits = 1; digits <= 1000; ++digits) {
    EXPECT_EQ(_OXFirstArchiveVolumeExtension(digits), test::plain::firstNumber(digits));
  }
}

}  // namespace

// SPDX-License-Identifier: MIT

// `oxarchive extract` restores what `oxarchive create` packs.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "OxarchiveTest.h"

namespace {

using namespace ox::test;
using testing::HasSubstr;
namespace fs = std::filesystem;

constexpr std::int64_t wholeSecond = 1'000'000'000;

struct RoundTripRow {
  std::string archive;
  std::int64_t precision;  // of its times, in nanoseconds
  std::vector<int> levels = {};
};

const RoundTripRow roundTripRows[] = {
    {"o.tar.gz", 1, {1, 2, 9}},        {"o.tar.xz", 1, {0, 1, 6}}, {"o.tar.zst", 1, {1, 2, 12}},
    {"o.zip", wholeSecond, {0, 1, 9}}, {"o.7z", 100, {0, 1, 6}},   {"o.tar", 1},
    {"o.tar.bz2", 1, {1, 2, 9}}};

void PrintTo(const RoundTripRow& row, std::ostream* stream) {
  *stream << row.archive;
}

// Everything about the items below a folder that an archive keeps: the text of `treeOf`,
// permissions, and the modification time in units of `precision` nanoseconds.
Tree detailsOf(const std::string& folder, std::int64_t precision) {
  Tree details = treeOf(folder);
  for (auto& [path, text] : details) {
    struct stat status {};
    EXPECT_EQ(::lstat((fs::path(folder) / path).c_str(), &status), 0) << path;
    const std::int64_t modified =
        std::int64_t{status.st_mtim.tv_sec} * wholeSecond + status.st_mtim.tv_nsec;
    text += " mode " + std::to_string(status.st_mode) + " time " +
            std::to_string(modified / precision * precision);
  }
  return details;
}

class RoundTrip : public OxarchiveTest {
 public:
  RoundTrip() : mask_(::umask(0)) {}
  ~RoundTrip() override { ::umask(mask_); }
  RoundTrip(const RoundTrip&) = delete;
  RoundTrip& operator=(const RoundTrip&) = delete;

 protected:
  void makeFile(const std::string& path, const std::string& contents, mode_t permissions = 0644) {
    writeFile(in(path), contents);
    EXPECT_EQ(::chmod(in(path).c_str(), permissions), 0);
  }
  void makeFolder(const std::string& path) { EXPECT_TRUE(fs::create_directories(in(path))); }
  void makeLink(const std::string& path, const std::string& target) {
    EXPECT_EQ(::symlink(target.c_str(), in(path).c_str()), 0);
  }

  // Sets times with nonzero digits in every place, for everything in `top` and itself. Folders come
  // last, since changes in them would change their times.
  void setTimes(const std::string& top) {
    std::vector<std::string> names = listing(in(top));
    std::int64_t seconds = 1'234'567'890;
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
      setTime(top + "/" + *name, ++seconds);
    }
    setTime(top, ++seconds);
  }
  void setTime(const std::string& path, std::int64_t seconds) {
    const timespec time{static_cast<std::time_t>(seconds), 123'456'789};
    const timespec times[] = {time, time};
    EXPECT_EQ(::utimensat(AT_FDCWD, in(path).c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
  }

  void pack(const std::vector<std::string>& arguments) {
    std::vector<std::string> all = {"create"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const ProgramResult result = oxarchive(all, {.folder = work()});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
  }
  void unpack(const std::vector<std::string>& arguments) {
    std::vector<std::string> all = {"extract"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const ProgramResult result = oxarchive(all, {.folder = work()});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
  }

  // Makes a folder "t" with every kind of item that archives hold.
  void makeTree() {
    makeFolder("t/empty");
    makeFolder("t/deep/er/and/deeper");
    makeFolder("t/\xc3\xa4 folder");
    makeFile("t/text", "hello\n");
    makeFile("t/zero", "");
    makeFile("t/run me", "#!/bin/sh\n", 0755);
    makeFile("t/closed", "nobody else\n", 0600);
    makeFile("t/all", "everybody\n", 0666);
    makeFile("t/deep/er/large", noise(100'000));
    makeFile("t/deep/er/and/deeper/f", std::string(100'000, 'x'));
    makeFile("t/\xc3\xa4 folder/\xe6\x97\xa5\xe6\x9c\xac.txt", "names\n");
    makeFile("t/-option", "x");
    makeFile("t/back\\slash", "x");
    makeFile("t/line\nbreak", "x");
    makeFile("t/" + std::string(255, 'n'), "a long name");
    makeFile("t/.hidden", "x");
    makeLink("t/link", "text");
    makeLink("t/deep/up", "../text");
    makeLink("t/deep/folder", "er/and");
    makeLink("t/nowhere", "missing");
    makeLink("t/\xc3\xb6 link", "\xc3\xa4 folder");
    EXPECT_EQ(::chmod(in("t/deep/er").c_str(), 0750), 0);
    EXPECT_EQ(::chmod(in("t/empty").c_str(), 0700), 0);
    setTimes("t");
  }

 private:
  mode_t mask_;
};

class RoundTripIn : public RoundTrip, public testing::WithParamInterface<RoundTripRow> {};

std::string testName(const std::string& text) {
  std::string name;
  std::ranges::copy_if(text, std::back_inserter(name), [](char c) { return std::isalnum(c) != 0; });
  return name;
}

INSTANTIATE_TEST_SUITE_P(Formats, RoundTripIn, testing::ValuesIn(roundTripRows),
                         [](const auto& each) { return testName(each.param.archive.substr(2)); });

TEST_P(RoundTripIn, GivesBackTheSameTree) {
  const RoundTripRow& row = GetParam();
  makeTree();
  pack({row.archive, "t"});
  unpack({row.archive});
  EXPECT_EQ(listing(in("o/t")), listing(in("t")));
  fs::create_directory(in("expected"));
  fs::rename(in("t"), in("expected/t"));
  const Tree given = detailsOf(in("o"), row.precision);
  for (const auto& [path, text] : detailsOf(in("expected"), row.precision)) {
    ASSERT_TRUE(given.contains(path)) << path;
    EXPECT_TRUE(given.at(path) == text) << path;
  }
  remove({row.archive, "o", "expected"});
}

class EncryptedRoundTrip : public RoundTrip, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Methods, EncryptedRoundTrip,
                         testing::Values("", "aes128", "aes256", "zipcrypt"), [](const auto& each) {
                           return *each.param == '\0' ? "byDefault" : each.param;
                         });

TEST_P(EncryptedRoundTrip, GivesBackTheSameTree) {
  const std::string method = GetParam();
  makeTree();
  writeFile(in("password"), "open \xc3\xa4 sesame\nand more\n");
  std::vector<std::string> arguments = {"o.zip", "t", "--password-file", "password"};
  if (!method.empty()) {
    arguments.push_back("--method=" + method);
  }
  pack(arguments);
  EXPECT_EQ(readFile(in("o.zip")).find("hello"), std::string::npos);
  unpack({"o.zip", "--password-file=password"});
  EXPECT_TRUE(detailsOf(in("o/t"), wholeSecond) == detailsOf(in("t"), wholeSecond));
  remove({"o.zip", "o", "t", "password"});
}

TEST_P(RoundTripIn, AtLevelsFromTheFirstOn) {
  const RoundTripRow& row = GetParam();
  makeFile("f", std::string(10'000, 'x') + noise(1000));
  for (const int level : row.levels) {
    SCOPED_TRACE(level);
    pack({row.archive, "f", "--level", std::to_string(level)});
    unpack({row.archive});
    EXPECT_EQ(readFile(in("o/f")), readFile(in("f")));
    remove({row.archive, "o"});
  }
  remove({"f"});
}

TEST_F(RoundTrip, GivesBackLinksThatLeadOut) {
  makeFolder("t");
  makeFile("t/f", "x");
  makeLink("t/absolute", "/etc/passwd");
  makeLink("t/out", "../../f");
  setTimes("t");
  for (const RoundTripRow& row : roundTripRows) {
    SCOPED_TRACE(row.archive);
    pack({row.archive, "t"});
    const ProgramResult result = oxarchive({"extract", row.archive}, {.folder = work()});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors,
              "oxarchive: " + row.archive + ": 2 of the links in it lead out of the folder o\n");
    EXPECT_EQ(detailsOf(in("o/t"), row.precision), detailsOf(in("t"), row.precision));
    remove({row.archive, "o"});
  }
  remove({"t"});
}

TEST_F(RoundTrip, NamesOfOneFileStayTogetherInTar) {
  makeFolder("t");
  makeFile("t/a", noise(1000));
  EXPECT_EQ(::link(in("t/a").c_str(), in("t/b").c_str()), 0);
  for (const RoundTripRow& row : roundTripRows) {
    SCOPED_TRACE(row.archive);
    pack({row.archive, "t"});
    unpack({row.archive});
    EXPECT_EQ(readFile(in("o/t/b")), readFile(in("t/b")));
    EXPECT_EQ(fs::equivalent(in("o/t/a"), in("o/t/b")), row.archive.starts_with("o.tar"));
    remove({row.archive, "o"});
  }
  remove({"t"});
}

TEST_F(RoundTrip, HolesTakeNoRoomInTar) {
  writeFile(in("f"), "start");
  ASSERT_EQ(::truncate(in("f").c_str(), 4'000'000), 0);
  const std::string contents = readFile(in("f"));
  pack({"o.tar", "f"});
  EXPECT_LT(fs::file_size(in("o.tar")), 1'000'000U);
  unpack({"o.tar"});
  EXPECT_TRUE(readFile(in("o/f")) == contents);
  remove({"f", "o.tar", "o"});
}

TEST_F(RoundTrip, HolesAreNotRead) {
  // It would take minutes.
  constexpr std::int64_t size = std::int64_t{1} << 39U;
  writeFile(in("f"), "start");
  if (::truncate(in("f").c_str(), size) != 0) {
    GTEST_SKIP() << "files cannot be as large here";
  }
  const int file = ::open(in("f").c_str(), O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(::pwrite(file, "end", 3, size / 2), 3);
  ::close(file);
  const auto limitProcessor = [] {
    const rlimit limit{20, 20};
    ::setrlimit(RLIMIT_CPU, &limit);
  };
  const ProgramResult packed =
      oxarchive({"create", "o.tar", "f"}, {.folder = work(), .beforeExec = limitProcessor});
  EXPECT_EQ(packed.exitCode, 0) << packed.errors;
  unpack({"o.tar"});
  struct stat status {};
  EXPECT_EQ(::stat(in("o/f").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, size);
  EXPECT_LT(status.st_blocks, 1000);
  const int copy = ::open(in("o/f").c_str(), O_RDONLY | O_CLOEXEC);
  std::array<char, 5> bytes{};
  EXPECT_EQ(::pread(copy, bytes.data(), bytes.size(), 0), 5);
  EXPECT_EQ(std::string_view(bytes.data(), 5), "start");
  EXPECT_EQ(::pread(copy, bytes.data(), bytes.size(), size / 2), 5);
  EXPECT_EQ(std::string_view(bytes.data(), 5), std::string_view("end\0\0", 5));
  ::close(copy);
  remove({"f", "o.tar", "o"});
}

TEST_F(RoundTrip, TimesThatTheFormatCannotHoldAreTold) {
  if (sizeof(std::time_t) < sizeof(std::int64_t)) {
    GTEST_SKIP() << "files have no such times here";
  }
  makeFile("old", "x");
  makeFile("new", "x");
  setTime("old", -315'619'200);   // in 1960
  setTime("new", 4'500'000'000);  // in 2112
  const auto packedWith = [&](const std::string& archive) {
    const ProgramResult result = oxarchive({"create", archive, "old", "new"}, {.folder = work()});
    EXPECT_EQ(result.exitCode, 0);
    unpack({archive});
    std::string text = result.errors;
    for (const std::string name : {"old", "new"}) {
      struct stat status {};
      EXPECT_EQ(::stat(in("o/" + name).c_str(), &status), 0);
      text += name + " " + std::to_string(status.st_mtime) + "\n";
    }
    remove({archive, "o"});
    return text;
  };
  const std::string told = ": the format cannot hold its time; the nearest is packed\n";
  EXPECT_EQ(packedWith("o.tar"), "old -315619200\nnew 4500000000\n");
  // It holds the older one, but libarchive reads that as 1970.
  EXPECT_EQ(packedWith("o.7z"), "old 0\nnew 4500000000\n");
  if (const std::string sevenZip = findProgram({"7zz", "7z", "7za"}); !sevenZip.empty()) {
    const ScopedEnvironment zone("TZ", "UTC");
    EXPECT_EQ(oxarchive({"create", "o.7z", "old"}, {.folder = work()}).errors, "");
    const ProgramResult listed = runProgram(sevenZip, {"l", "o.7z"}, {.folder = work()});
    EXPECT_NE(listed.output.find("1960-01-01 00:00:00"), std::string::npos) << listed.output;
    remove({"o.7z"});
  }
  EXPECT_EQ(packedWith("o.zip"),
            "oxarchive: old" + told + "oxarchive: new" + told + "old 0\nnew 4294967295\n");
  remove({"old", "new"});
}

TEST_F(RoundTrip, NamesThatAreNotUnicode) {
  makeFolder("t");
  makeFile("t/\xff\xfe", "x");
  makeLink("t/link", "\xff\xfe");
  pack({"o.tar.gz", "t"});
  unpack({"o.tar.gz"});
  EXPECT_EQ(treeOf(in("o/t")), treeOf(in("t")));
  for (const std::string archive : {"o.zip", "o.7z"}) {
    const ProgramResult result = oxarchive({"create", archive, "t"}, {.folder = work()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "oxarchive: " + archive +
                                 ": t/\\xff\\xfe: names in this format are Unicode, and this one "
                                 "is not\n");
    EXPECT_FALSE(exists(in(archive)));
  }
  remove({"t", "o.tar.gz", "o"});
}

TEST_F(RoundTrip, OfSeveralItemsUnderTheirLastComponents) {
  makeFolder("a/b");
  makeFile("a/b/f", "1");
  makeFile("a/g", "2");
  makeLink("l", "a");
  pack({"o.zip", "a/b/", "a//g", "./l", in("a")});
  unpack({"o.zip"});
  EXPECT_EQ(treeOf(in("o")), (Tree{{"b", "folder"},
                                   {"b/f", "file 1"},
                                   {"g", "file 2"},
                                   {"l", "link to a"},
                                   {"a", "folder"},
                                   {"a/b", "folder"},
                                   {"a/b/f", "file 1"},
                                   {"a/g", "file 2"}}));
  remove({"a", "l", "o.zip", "o"});
}

TEST_F(RoundTrip, OfTheCurrentFolderWithoutTheArchiveItself) {
  makeFolder("t/sub");
  makeFile("t/f", "x");
  const ProgramOptions inFolder = {.folder = in("t")};
  const ProgramResult first = oxarchive({"create", "o.tar", "."}, inFolder);
  EXPECT_EQ(first.exitCode, 0) << first.errors;
  EXPECT_THAT(first.output, HasSubstr("o.tar: 3 entries, "));
  unpack({"t/o.tar", "--into", "."});
  EXPECT_EQ(treeOf(in("o")), (Tree{{"t", "folder"}, {"t/sub", "folder"}, {"t/f", "file x"}}));
  remove({"o", "t/o.tar"});

  const ProgramResult again = oxarchive({"create", "../o.tar", ".."}, {.folder = in("t/sub")});
  EXPECT_EQ(again.exitCode, 0) << again.errors;
  unpack({"t/o.tar", "--into", "."});
  EXPECT_EQ(treeOf(in("o")), (Tree{{"t", "folder"}, {"t/sub", "folder"}, {"t/f", "file x"}}));
  remove({"o", "t"});
}

}  // namespace

// SPDX-License-Identifier: MIT

// `oxarchive extract --trash`.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "OxarchiveTest.h"

namespace {

using namespace ox::test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
namespace fs = std::filesystem;

class ExtractAndTrash : public OxarchiveTest {
 protected:
  ExtractAndTrash() : data_("XDG_DATA_HOME", in("data")) {}

  ProgramResult extract(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"extract", "--trash"});
    return oxarchive(arguments, {.folder = work()});
  }

  std::vector<std::string> trashed() const {
    return exists(in("data/Trash")) ? listing(in("data/Trash/files")) : std::vector<std::string>();
  }

  // "s.tar" in three volumes.
  std::vector<std::string> makeSet() {
    writeArchive(in("s.tar"), someItems());
    const std::string bytes = readFile(in("s.tar"));
    constexpr std::size_t size = 110'000;
    std::vector<std::string> names;
    for (std::size_t start = 0; start < bytes.size(); start += size) {
      names.push_back("s.tar.00" + std::to_string(names.size() + 1));
      writeFile(in(names.back()), bytes.substr(start, size));
    }
    removeOne(in("s.tar"));
    return names;
  }

 private:
  ScopedEnvironment data_;
};

TEST_F(ExtractAndTrash, TakesTheArchive) {
  writeArchive(in("a.tar"), {file("f")});
  const ProgramResult result = extract({"a.tar"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.output, "a.tar -> a: 1 entry, 8 B\n");
  EXPECT_EQ(names(), (std::vector<std::string>{"a", "data"}));
  EXPECT_THAT(trashed(), UnorderedElementsAre("a.tar"));
  remove({"a", "data"});
}

TEST_F(ExtractAndTrash, IsNotDoneUnasked) {
  writeArchive(in("a.tar"), {file("f")});
  EXPECT_EQ(oxarchive({"extract", in("a.tar")}).exitCode, 0);
  EXPECT_EQ(names(), (std::vector<std::string>{"a", "a.tar"}));
  remove({"a", "a.tar"});
}

TEST_F(ExtractAndTrash, TakesAllVolumesWhicheverAreGiven) {
  const std::vector<std::vector<std::string>> rows = {
      {"s.tar.002"}, {"s.tar.001", "s.tar.002", "s.tar.003"}, {"s.tar.003", "./s.tar.001"}};
  for (const std::vector<std::string>& given : rows) {
    SCOPED_TRACE(testing::PrintToString(given));
    ASSERT_EQ(makeSet().size(), 3U);
    const ProgramResult result = extract(given);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_THAT(trashed(), UnorderedElementsAre("s.tar.001", "s.tar.002", "s.tar.003"));
    EXPECT_TRUE(treeOf(in("s")) == treeOf(someItems()));
    for (const std::string& name : names()) {
      remove({name});
    }
  }
}

TEST_F(ExtractAndTrash, TakesAnArchiveThatIsGivenTwiceOnce) {
  writeArchive(in("a.tar"), {file("f")});
  ASSERT_EQ(::symlink(".", in("here").c_str()), 0);
  const ProgramResult result = extract({"a.tar", "./a.tar", "here/a.tar", in("a.tar")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(trashed(), UnorderedElementsAre("a.tar"));
  remove({"a", "a (1)", "a (2)", "a (3)", "data", "here"});
}

TEST_F(ExtractAndTrash, TakesALinkAndNotWhatItLeadsTo) {
  writeArchive(in("a.tar"), {file("f")});
  ASSERT_EQ(::symlink("a.tar", in("l.tar").c_str()), 0);
  EXPECT_EQ(extract({"l.tar"}).exitCode, 0);
  EXPECT_EQ(names(), (std::vector<std::string>{"a.tar", "data", "l"}));
  remove({"a.tar", "data", "l"});
}

TEST_F(ExtractAndTrash, LeavesWhatWasNotExtractedWhole) {
  writeArchive(in("whole.tar"), {file("f")});
  writeArchive(in("hostile.tar"), {file("f"), file("../g")});
  writeArchive(in("cut.tar"), {file("f"), file("g", noise(5000))});
  fs::resize_file(in("cut.tar"), 3000);
  writeFile(in("none.tar"), "none");
  writeArchive(in("secret.zip"), {file("f")},
               {.format = ::archive_write_set_format_zip,
                .options = "encryption=aes256",
                .passphrase = "secret"});
  const ProgramResult result =
      extract({"hostile.tar", "cut.tar", "none.tar", "whole.tar", "secret.zip"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(trashed(), UnorderedElementsAre("whole.tar"));
  remove({"hostile", "hostile.tar", "cut", "cut.tar", "none.tar", "whole", "secret.zip", "data"});
}

TEST_F(ExtractAndTrash, LeavesAnArchiveWithoutEntries) {
  writeArchive(in("e.tar"), {});
  const ProgramResult result = extract({"e.tar"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, "e.tar -> e: 0 entries, 0 B\n");
  EXPECT_EQ(result.errors, "oxarchive: e.tar stays where it is: there was nothing in it\n");
  EXPECT_EQ(names(), (std::vector<std::string>{"e", "e.tar"}));
  remove({"e", "e.tar"});
}

TEST_F(ExtractAndTrash, LeavesASetThatIsDamaged) {
  std::vector<std::string> set = makeSet();
  removeOne(in(set.back()));
  set.pop_back();
  EXPECT_EQ(extract({set.front()}).exitCode, 1);
  EXPECT_THAT(trashed(), IsEmpty());
  for (const std::string& volume : set) {
    EXPECT_TRUE(exists(in(volume)));
  }
  for (const std::string& name : names()) {
    remove({name});
  }
}

TEST_F(ExtractAndTrash, LeavesEverythingWhenTheResultCannotBeTold) {
  writeArchive(in("a.tar"), {file("f")});
  const ProgramResult result =
      oxarchive({"extract", "--trash", in("a.tar")},
                {.beforeExec = [] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); }});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(names(), (std::vector<std::string>{"a", "a.tar"}));
  remove({"a", "a.tar"});
}

TEST_F(ExtractAndTrash, TellsWhichVolumesStay) {
  const std::vector<std::string> set = makeSet();
  ASSERT_TRUE(fs::create_directory(in("data")));
  writeFile(in("data/Trash"), "no folder");
  const ProgramResult result = extract({"s.tar.001"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.output, HasSubstr("s.tar.001 -> s: 5 entries, "));
  std::string expected;
  for (const std::string& volume : set) {
    expected += "oxarchive: " + volume + " stays where it is: it cannot be moved to the Trash\n";
    EXPECT_TRUE(exists(in(volume)));
  }
  EXPECT_EQ(result.errors, expected);
  EXPECT_TRUE(treeOf(in("s")) == treeOf(someItems()));
  for (const std::string& name : names()) {
    remove({name});
  }
}

}  // namespace

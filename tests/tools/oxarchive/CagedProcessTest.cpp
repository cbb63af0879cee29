// The processes that read archives: they are caged and never outlive the program; the limits of
// what an archive may cost.

#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "OxarchiveTest.h"

namespace {

using namespace ox::test;
using testing::HasSubstr;

class CagedProcess : public OxarchiveTest {
 protected:
  // A tar archive that starts with `items` and ends within a file of 8 GiB of zeros. Each part is a
  // gzip member.
  void writeLongArchive(const std::string& name, const std::vector<Item>& items, int megabytes) {
    writeArchive(in("t.tar"), items, {.format = ::archive_write_set_format_gnutar});
    writeArchive(in("h.tar"), {file("huge", "x")}, {.format = ::archive_write_set_format_gnutar});
    std::string header = readFile(in("h.tar")).substr(0, 512);
    header.replace(124, 11, "77777777777");
    setTarCheckSum(header);
    const std::string entries = readFile(in("t.tar"));
    writeFile(in("start"), entries.substr(0, entries.size() - 1024) + header);
    EXPECT_EQ(runProgram("sh", {"-c", "gzip start && head -c 67108864 /dev/zero | gzip -1 > zeros"},
                         {.folder = work()})
                  .exitCode,
              0);
    std::string bytes = readFile(in("start.gz"));
    const std::string zeros = readFile(in("zeros"));
    for (int i = 0; i < megabytes / 64; ++i) {
      bytes += zeros;
    }
    writeFile(in(name), bytes);
    remove({"t.tar", "h.tar", "start.gz", "zeros"});
  }
};

// The only child of a process; 0 if there is none.
int childOf(int process) {
  const std::string id = std::to_string(process);
  std::ifstream file("/proc/" + id + "/task/" + id + "/children");
  int child = 0;
  file >> child;
  return child;
}

// Neither running nor an unreaped zombie.
bool isRunning(int process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(file, text);
  const std::size_t end = text.rfind(") ");
  return end != std::string::npos && text[end + 2] != 'Z' && text[end + 2] != 'X';
}

bool isCaged(int process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  return text.find("\nSeccomp:\t2\n") != std::string::npos &&
         text.find("\nNoNewPrivs:\t1\n") != std::string::npos;
}

bool waitUntil(const std::function<bool()>& condition) {
  for (int i = 0; i < 5000; ++i) {
    if (condition()) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

TEST_F(CagedProcess, IsCagedAndEndsWithTheProgram) {
  writeLongArchive("a.tgz", {file("first")}, 6400);
  for (const std::string command : {"extract", "list"}) {
    for (const int signal : {SIGKILL, SIGTERM}) {
      SCOPED_TRACE(command + " " + std::to_string(signal));
      int reader = 0;
      const auto end = [&](int program) {
        EXPECT_TRUE(waitUntil([&] {
          reader = childOf(program);
          // The first worker only searches for the archive's files.
          return reader != 0 && isCaged(reader) &&
                 (command == "list" ? childOf(reader) == 0 : exists(in("a/huge")));
        }));
        ::kill(program, signal);
      };
      const ProgramResult result =
          oxarchive({command, "a.tgz"}, {.folder = work(), .whileRunning = end});
      EXPECT_EQ(result.signal, signal);
      EXPECT_NE(reader, 0);
      EXPECT_TRUE(waitUntil([&] { return !isRunning(reader); }));
      if (command == "extract") {
        EXPECT_EQ(readFile(in("a/first")), "contents");
        // Nobody cleans up after SIGKILL.
        EXPECT_EQ(exists(in("a/huge")), signal == SIGKILL);
        remove({"a"});
      }
    }
  }
  remove({"a.tgz"});
}

TEST_F(CagedProcess, ThatEndsSuddenlyLeavesNoPartOfAFile) {
  writeLongArchive("a.tgz", {file("first")}, 6400);
  const ProgramResult result = oxarchive(
      {"extract", "a.tgz"}, {.folder = work(), .whileRunning = [&](int program) {
                               EXPECT_TRUE(waitUntil([&] { return exists(in("a/huge")); }));
                               const int reader = childOf(program);
                               // 0 would be this process and its likes.
                               ASSERT_GT(reader, 0);
                               ::kill(reader, SIGKILL);
                             }});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, "a.tgz -> a: 1 entry, 8 B (incomplete)\n");
  EXPECT_EQ(result.errors,
            "oxarchive: a.tgz: the process that read it was ended by signal 9; the folder a is "
            "incomplete\n");
  EXPECT_EQ(treeOf(in("a")), (Tree{{"first", "file contents"}}));
  remove({"a.tgz", "a"});
}

TEST_F(CagedProcess, IsGivenUpWithoutHeadway) {
  writeLongArchive("a.tgz", {file("first")}, 12800);
  const ProgramResult result = oxarchive({"list", "a.tgz", "--patience", "1"}, {.folder = work()});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.output, HasSubstr("  huge\nTotal: 2 entries, "));
  EXPECT_EQ(
      result.errors,
      "oxarchive: a.tgz: it was stopped because it made no progress; the listing is incomplete\n");
  remove({"a.tgz"});
}

TEST_F(CagedProcess, HasTheMemoryThatIsGiven) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizers reserve more than any limit";
#endif
  // Needs 64 MiB to unpack.
  writeArchive(in("a.tar.xz"), {file("f")},
               {.filter = ::archive_write_add_filter_xz, .options = "xz:compression-level=9"});
  for (const std::string command : {"extract", "list"}) {
    EXPECT_EQ(oxarchive({command, in("a.tar.xz")}).exitCode, 0);
    const ProgramResult result = oxarchive({command, in("a.tar.xz"), "--memory", "64M"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.signal, 0);
    EXPECT_NE(result.errors, "");
  }
  EXPECT_EQ(names(), (std::vector<std::string>{"a", "a.tar.xz"}));
  remove({"a", "a.tar.xz"});
}

TEST_F(CagedProcess, ExtractsNoMoreThanIsAllowed) {
  const std::vector<Item> items = {file("a", "12345"), file("b", "12345"), file("c", "12345")};
  writeArchive(in("x.tar"), items);
  struct Row {
    std::string option;
    std::size_t entries;
    std::string reason;
  };
  const Row rows[] = {
      {"--max-entries=3", 3, ""},
      {"--max-entries=2", 2, "it has more entries than the limit of 2"},
      {"--max-size=15", 3, ""},
      {"--max-size=1K", 3, ""},
      {"--max-size=14", 2, "it has more bytes than the limit of 14"},
      {"--max-size=4", 0, "it has more bytes than the limit of 4"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.option);
    const ProgramResult result = oxarchive({"extract", "x.tar", row.option}, {.folder = work()});
    EXPECT_EQ(result.exitCode, row.reason.empty() ? 0 : 1);
    const std::vector<Item> extracted(items.begin(),
                                      items.begin() + static_cast<std::ptrdiff_t>(row.entries));
    EXPECT_EQ(exists(in("x")), row.entries > 0);
    EXPECT_EQ(treeOf(in("x")), treeOf(extracted));
    const std::string end = row.entries > 0 ? "; the folder x is incomplete\n" : "\n";
    EXPECT_EQ(result.errors, row.reason.empty() ? "" : "oxarchive: x.tar: " + row.reason + end);
    if (row.entries > 0) {
      remove({"x"});
    }
  }
  writeArchive(in("refused.tar"), {file("../a"), file("../b"), file("c")});
  const ProgramResult refused =
      oxarchive({"extract", "refused.tar", "--max-entries=2"}, {.folder = work()});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(refused.errors, HasSubstr("it has more entries than the limit of 2")) << "all count";
  remove({"refused.tar"});
  const ProgramResult listed =
      oxarchive({"list", "x.tar", "--max-entries", "2"}, {.folder = work()});
  EXPECT_EQ(listed.exitCode, 1);
  EXPECT_THAT(listed.output, HasSubstr("\nTotal: 2 entries, 10 B (incomplete)\n"));
  EXPECT_EQ(listed.errors,
            "oxarchive: x.tar: it has more entries than the limit of 2; the listing is "
            "incomplete\n");
  remove({"x.tar"});
}

TEST_F(CagedProcess, VolumesMayBeLinksToElsewhere) {
  writeArchive(in("x.tar"), {file("f", noise(2000))});
  const std::string bytes = readFile(in("x.tar"));
  ASSERT_TRUE(std::filesystem::create_directory(in("there")));
  writeFile(in("there/1"), bytes.substr(0, 1000));
  writeFile(in("there/2"), bytes.substr(1000));
  for (const std::string number : {"1", "2"}) {
    std::filesystem::create_symlink("there/" + number, in("v.tar.00" + number));
  }
  const ProgramResult result = oxarchive({"extract", "v.tar.002"}, {.folder = work()});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_TRUE(treeOf(in("v")) == treeOf({file("f", noise(2000))}));
  remove({"x.tar", "there", "v.tar.001", "v.tar.002", "v"});
}

}  // namespace

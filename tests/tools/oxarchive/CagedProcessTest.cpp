// SPDX-License-Identifier: MIT

// The processes that read archives: they are caged and never outlive the program; the limits of
// what an archive may cost.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/landlock.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "OxarchiveTest.h"
#include "support/Sanitizers.h"

namespace {

using namespace ox::test;
using testing::EndsWith;
using testing::HasSubstr;

class CagedProcess : public OxarchiveTest {
 protected:
  // A tar archive that starts with `items` and ends within a file of 8 GiB of zeros. Each part is a
  // gzip member.
  void writeLongArchive(const std::string& name, const std::vector<Item>& items, int megabytes,
                        const std::string& last = "huge") {
    writeArchive(in("t.tar"), items, {.format = ::archive_write_set_format_gnutar});
    writeArchive(in("h.tar"), {file(last, "x")}, {.format = ::archive_write_set_format_gnutar});
    std::string header = readFile(in("h.tar")).substr(0, 512);
    header.replace(124, 11, "77777777777");
    setTarCheckSum(header);
    const std::string entries = readFile(in("t.tar"));
    writeFile(in("start"), entries.substr(0, entries.size() - 1024) + header);
    EXPECT_EQ(runProgram("sh", {"-c", "gzip start && head -c 16777216 /dev/zero | gzip -1 > zeros"},
                         {.folder = work()})
                  .exitCode,
              0);
    std::string bytes = readFile(in("start.gz"));
    const std::string zeros = readFile(in("zeros"));
    for (int i = 0; i < megabytes / 16; ++i) {
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

std::string contentsOf(const std::string& file, int process) {
  std::ifstream stream("/proc/" + std::to_string(process) + "/" + file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool hasLimit(int process, const std::string& name, const std::string& bytes) {
  std::istringstream limits(contentsOf("limits", process));
  for (std::string line; std::getline(limits, line);) {
    if (line.starts_with(name + " ")) {
      std::istringstream values(line.substr(name.size()));
      std::string soft;
      std::string hard;
      values >> soft >> hard;
      return soft == bytes && hard == bytes;
    }
  }
  return false;
}

bool isCaged(int process) {
  const std::string status = contentsOf("status", process);
  return status.find("\nSeccomp:\t2\n") != std::string::npos &&
         status.find("\nNoNewPrivs:\t1\n") != std::string::npos;
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
        EXPECT_TRUE(hasLimit(reader, "Max core file size", "0"));
        EXPECT_TRUE(ox::test::hasAddressSanitizer ||
                    hasLimit(reader, "Max address space", "2147483648"));
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
  writeLongArchive("b.tgz", {file("first")}, 12800, "../huge");
  const ProgramResult extracted =
      oxarchive({"extract", "b.tgz", "--patience", "1"}, {.folder = work()});
  EXPECT_EQ(extracted.exitCode, 1);
  EXPECT_EQ(extracted.output, "b.tgz -> b: 1 entry, 8 B (incomplete)\n");
  EXPECT_THAT(extracted.errors,
              EndsWith("oxarchive: b.tgz: it was stopped because it made no progress; the folder b "
                       "is incomplete\n"));
  EXPECT_EQ(treeOf(in("b")), (Tree{{"first", "file contents"}}));
  remove({"b.tgz", "b"});
}

// Fails as on a kernel that has none of these.
void refuseConfinement() {
  void* const filter = ::seccomp_init(SCMP_ACT_ALLOW);
  for (const long call : {SYS_landlock_create_ruleset, SYS_landlock_add_rule,
                          SYS_landlock_restrict_self, SYS_close_range, SYS_pidfd_open}) {
    ::seccomp_rule_add(filter, SCMP_ACT_ERRNO(ENOSYS), static_cast<int>(call), 0);
  }
  ::seccomp_rule_add(filter, SCMP_ACT_ERRNO(EINVAL), SCMP_SYS(seccomp), 0);
  const scmp_arg_cmp setsFilter{0, SCMP_CMP_EQ, PR_SET_SECCOMP, 0};
  ::seccomp_rule_add(filter, SCMP_ACT_ERRNO(EINVAL), SCMP_SYS(prctl), 1, setsFilter);
  if (::seccomp_load(filter) != 0) {
    ::_exit(125);
  }
}

TEST_F(CagedProcess, WorksWithoutWhatTheSystemRefuses) {
  writeArchive(in("a.tar"), {file("f")});
  for (const std::string command : {"list", "extract"}) {
    const ProgramResult result =
        oxarchive({command, "a.tar"}, {.folder = work(), .beforeExec = refuseConfinement});
    EXPECT_EQ(result.exitCode, 0) << command;
    EXPECT_EQ(result.errors, "") << command;
  }
  EXPECT_EQ(treeOf(in("a")), (Tree{{"f", "file contents"}}));
  remove({"a.tar", "a"});
}

// What a rule of Landlock allows: "read list x.tar" for example.
std::string describeRule(int process, std::uint64_t address) {
  landlock_path_beneath_attr rule{};
  const iovec here{&rule, sizeof rule};
  const iovec there{std::bit_cast<void*>(static_cast<std::uintptr_t>(address)), sizeof rule};
  if (::process_vm_readv(process, &here, 1, &there, 1, 0) != ssize_t{sizeof rule}) {
    return "unknown";
  }
  if (rule.parent_fd < 0) {
    return "";
  }
  std::string text;
  const std::pair<std::uint64_t, const char*> rights[] = {{LANDLOCK_ACCESS_FS_EXECUTE, "execute "},
                                                          {LANDLOCK_ACCESS_FS_WRITE_FILE, "write "},
                                                          {LANDLOCK_ACCESS_FS_READ_FILE, "read "},
                                                          {LANDLOCK_ACCESS_FS_READ_DIR, "list "}};
  for (const auto& [right, name] : rights) {
    text += (rule.allowed_access & right) != 0 ? name : "";
  }
  const std::string file =
      "/proc/" + std::to_string(process) + "/fd/" + std::to_string(rule.parent_fd);
  return text + std::filesystem::read_symlink(file).string();
}

constexpr int cannotWatch = 43;

// Runs the program in this process, which ends, and writes the rules that it makes to a file.
[[noreturn]] void recordRules(const std::vector<std::string>& arguments, const std::string& folder,
                              const std::string& file) {
  void* const filter = ::seccomp_init(SCMP_ACT_ALLOW);
  ::seccomp_rule_add(filter, SCMP_ACT_NOTIFY, static_cast<int>(SYS_landlock_add_rule), 0);
  if (::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) < 2 ||
      ::seccomp_load(filter) != 0) {
    ::_exit(cannotWatch);
  }
  const int calls = ::seccomp_notify_fd(filter);
  ::fcntl(calls, F_SETFD, FD_CLOEXEC);
  std::thread([calls, file] {
    std::ofstream rules(file);
    seccomp_notif* call = nullptr;
    seccomp_notif_resp* response = nullptr;
    ::seccomp_notify_alloc(&call, &response);
    for (;;) {
      *call = {};
      if (::seccomp_notify_receive(calls, call) != 0) {
        continue;
      }
      if (const std::string rule = describeRule(static_cast<int>(call->pid), call->data.args[2]);
          !rule.empty()) {
        rules << rule << std::endl;
      }
      *response = {.id = call->id, .val = 0, .error = 0, .flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE};
      ::seccomp_notify_respond(calls, response);
    }
  }).detach();
  ::_exit(oxarchive(arguments, {.folder = folder}).exitCode);
}

TEST_F(CagedProcess, MayAccessNothingButTheFilesOfItsJob) {
  writeArchive(in("x.tar"), {file("f", noise(2000))});
  const std::string bytes = readFile(in("x.tar"));
  ASSERT_TRUE(std::filesystem::create_directory(in("there")));
  ASSERT_TRUE(std::filesystem::create_directory(in("x.folder")));
  writeFile(in("x.tar.001"), bytes.substr(0, 1000));
  writeFile(in("there/2"), bytes.substr(1000));
  std::filesystem::create_symlink("there/2", in("x.tar.002"));
  writeFile(in("xy.tar.003"), "");
  writeFile(in("secret"), "");
  const std::string top = std::filesystem::canonical(work()).string();
  bool isWatched = true;
  std::set<std::string> expected{"list ", "read /x.tar", "read /x.tar.001", "read /there/2"};
  for (const std::string command : {"list", "extract"}) {
    const pid_t child = ::fork();
    if (child == 0) {
      recordRules({command, "x.tar.001"}, work(), in("rules"));
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    isWatched = WEXITSTATUS(status) != cannotWatch;
    if (!isWatched) {
      break;
    }
    EXPECT_EQ(status, 0);
    std::istringstream lines(readFile(in("rules")));
    std::set<std::string> rules;
    for (std::string line; std::getline(lines, line);) {
      const std::size_t path = line.find(top);
      rules.insert(path == std::string::npos ? line : line.erase(path, top.size()));
    }
    if (command == "extract") {
      expected.insert("write read list /x");
    }
    EXPECT_EQ(rules, expected);
    remove({"rules"});
  }
  remove({"x.tar", "x.tar.001", "x.tar.002", "there", "x.folder", "xy.tar.003", "secret"});
  if (!isWatched) {
    GTEST_SKIP() << "system calls cannot be watched here, or there is no Landlock";
  }
  remove({"x"});
}

TEST_F(CagedProcess, HasTheMemoryThatIsGiven) {
  if (ox::test::hasAddressSanitizer) {
    GTEST_SKIP() << "the sanitizers reserve more than any limit";
  }
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

TEST_F(CagedProcess, VolumesMayBeInAFolderThatCannotBeListed) {
  writeArchive(in("x.tar"), {file("f", noise(2000))});
  const std::string bytes = readFile(in("x.tar"));
  ASSERT_TRUE(std::filesystem::create_directory(in("closed")));
  writeFile(in("closed/v.tar.001"), bytes.substr(0, 1000));
  writeFile(in("closed/v.tar.002"), bytes.substr(1000));
  ASSERT_EQ(::chmod(in("closed").c_str(), 0300), 0);
  const ProgramResult result =
      oxarchive({"extract", "closed/v.tar.002", "--into", "."}, {.folder = work()});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_TRUE(treeOf(in("v")) == treeOf({file("f", noise(2000))}));
  ASSERT_EQ(::chmod(in("closed").c_str(), 0700), 0);
  remove({"x.tar", "closed", "v"});
}

}  // namespace

// SPDX-License-Identifier: MIT

// `oxarchive create`: its options, names and failures.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "OxarchiveTest.h"

namespace {

using namespace ox::test;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
namespace fs = std::filesystem;

class Create : public OxarchiveTest {
 protected:
  ProgramResult create(std::vector<std::string> arguments, ProgramOptions options = {}) {
    arguments.insert(arguments.begin(), "create");
    options.folder = work();
    return oxarchive(arguments, options);
  }

  void expectFailure(const std::vector<std::string>& arguments, int exitCode,
                     const std::string& message, const ProgramOptions& options = {}) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const std::vector<std::string> before = names();
    const ProgramResult result = create(arguments, options);
    EXPECT_EQ(result.exitCode, exitCode);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, HasSubstr(message));
    EXPECT_EQ(names(), before);
  }
};

TEST_F(Create, TellsPathSizeAndDigest) {
  writeFile(in("f"), "contents");
  const ProgramResult result = create({"o.tar", "f"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  const std::string sum = runProgram("md5sum", {in("o.tar")}).output.substr(0, 32);
  const auto size = fs::file_size(in("o.tar"));
  ASSERT_GT(size, 1000U);
  ASSERT_EQ(size % 512, 0U);
  EXPECT_THAT(result.output, MatchesRegex("o\\.tar: 1 entry, [0-9.]+ KB, MD5 " + sum + "\n"));
  remove({"f", "o.tar"});
}

TEST_F(Create, TheSameItemsGiveTheSameArchive) {
  ASSERT_TRUE(fs::create_directories(in("t/sub")));
  for (const std::string name : {"t/c", "t/a", "t/sub/b"}) {
    writeFile(in(name), name);
  }
  for (const std::string archive :
       {"o.tar", "o.tar.gz", "o.tar.bz2", "o.tar.xz", "o.tar.zst", "o.zip", "o.7z"}) {
    SCOPED_TRACE(archive);
    const std::string first = create({archive, "t"}).output;
    static_cast<void>(readFile(in("t/a")));  // the access time must not matter
    const std::string second = create({archive, "t"}).output;
    EXPECT_EQ(first.substr(first.find("MD5")), second.substr(second.find("MD5")));
    const std::string base = archive.substr(2);
    remove({archive, "o (1)." + base});
  }
  remove({"t"});
}

TEST_F(Create, PicksTheFormatByTheName) {
  struct Row {
    std::string archive;
    std::string start;
  };
  const Row rows[] = {
      {"o.tar", "PaxHeader/"},
      {"o.tar.gz", "\x1f\x8b"},
      {"o.tgz", "\x1f\x8b"},
      {"o.TGZ", "\x1f\x8b"},
      {"O.Tar.GZ", "\x1f\x8b"},
      {"o.tar.bz2", "BZh"},
      {"o.tbz2", "BZh"},
      {"o.tbz", "BZh"},
      {"o.tar.xz",
       "\xfd"
       "7zXZ"},
      {"o.txz",
       "\xfd"
       "7zXZ"},
      {"o.tar.zst", "\x28\xb5\x2f\xfd"},
      {"o.tzst", "\x28\xb5\x2f\xfd"},
      {"o.zip", "PK\x03\x04"},
      {"o.ZIP", "PK\x03\x04"},
      {"my.o.7z", "7z\xbc\xaf\x27\x1c"},
  };
  writeFile(in("f"), "contents");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.archive);
    const ProgramResult result = create({row.archive, "f"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, StartsWith(row.archive + ": 1 entry, "));
    EXPECT_THAT(readFile(in(row.archive)), StartsWith(row.start));
    remove({row.archive});
  }
  remove({"f"});
}

TEST_F(Create, OverwritesNothing) {
  writeFile(in("f"), "contents");
  writeFile(in("o.tar.gz"), "mine");
  ASSERT_EQ(::symlink("nowhere", in("o (1).tar.gz").c_str()), 0);
  const ProgramResult result = create({"o.tar.gz", "f"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.output, StartsWith("o (2).tar.gz: "));
  EXPECT_THAT(create({in("o.tar.gz"), "f"}).output, StartsWith(in("o (3).tar.gz") + ": "));
  EXPECT_EQ(readFile(in("o.tar.gz")), "mine");
  EXPECT_EQ(fs::read_symlink(in("o (1).tar.gz")), "nowhere");
  remove({"f", "o.tar.gz", "o (1).tar.gz", "o (2).tar.gz", "o (3).tar.gz"});
}

TEST_F(Create, GivesTheArchiveTheUsersPermissions) {
  writeFile(in("f"));
  for (const mode_t mask : {mode_t{022}, mode_t{077}}) {
    EXPECT_EQ(create({"o.zip", "f"}, {.beforeExec = [mask] { ::umask(mask); }}).exitCode, 0);
    struct stat status {};
    EXPECT_EQ(::stat(in("o.zip").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | (0666U & ~mask));
    remove({"o.zip"});
  }
  remove({"f"});
}

TEST_F(Create, LevelsMakeADifference) {
  std::string text;
  for (int i = 0; i < 20'000; ++i) {
    text += std::to_string(i * i % 7919) + ' ';
  }
  writeFile(in("f"), text);
  for (const std::string extension : {"tar.gz", "tar.xz", "tar.zst", "zip"}) {
    SCOPED_TRACE(extension);
    const auto sizeAt = [&](const std::vector<std::string>& level) {
      std::vector<std::string> arguments = {"o." + extension, "f"};
      arguments.insert(arguments.end(), level.begin(), level.end());
      EXPECT_EQ(create(arguments).exitCode, 0);
      const auto size = fs::file_size(in("o." + extension));
      remove({"o." + extension});
      return size;
    };
    const auto normal = sizeAt({});
    EXPECT_EQ(sizeAt({"--level=normal"}), normal);
    EXPECT_NE(sizeAt({"--level", "fastest"}), normal);
    if (extension == "zip") {
      EXPECT_GT(sizeAt({"--level", "0"}), text.size());
      EXPECT_EQ(sizeAt({"--level", "best"}), sizeAt({"--level", "9"}));
    }
  }
  remove({"f"});
}

TEST_F(Create, RefusesWhatMakesNoSense) {
  writeFile(in("f"));
  ASSERT_TRUE(fs::create_directory(in("d")));
  writeFile(in("d/f"));
  writeFile(in("password"), "secret\n");
  struct Row {
    std::vector<std::string> arguments;
    std::string message;
  };
  const Row rows[] = {
      {{}, "no archive is given"},
      {{""}, "the name of an archive is empty"},
      {{"o.zip"}, "nothing to pack is given"},
      {{"o.zip", ""}, "the path of an item to pack is empty"},
      {{"-", "f"}, "archives are neither read from standard input nor written"},
      {{"o", "f"}, "o: the name of a new archive ends in one of .tar, .tar.gz, .tar.bz2, "},
      {{"o.gz", "f"}, "o.gz: the name of a new archive ends in one of "},
      {{"o.tar.Z", "f"}, "o.tar.Z: the name of a new archive ends in one of "},
      {{"o.rar", "f"}, "o.rar: RAR archives are read, but not created"},
      {{"d/", "f"}, "d/ is the name of a folder, not of a new archive"},
      {{"o.zip", "f", "d/f"}, "two items would be called f in the archive"},
      {{"o.zip", "d", "d/"}, "two items would be called d in the archive"},
      {{"o.zip", "/"}, "/ has no name in the archive"},
      {{"o.zip", "//"}, "// has no name in the archive"},
      {{"o.zip", "f", "--level", "10"}, "--level takes fastest, normal, best, or 0 to 9 for ZIP"},
      {{"o.zip", "f", "--level", "06"}, "--level takes fastest, normal, best, or 0 to 9 for ZIP"},
      {{"o.tar.gz", "f", "--level", "0"}, "or 1 to 9 for tar with gzip, not 0"},
      {{"o.tar.zst", "f", "--level", "23"}, "or 1 to 22 for tar with zstd, not 23"},
      {{"o.tar", "f", "--level", "1"}, "tar archives are not compressed"},
      {{"o.zip", "f", "--level="}, "--level needs a compression level"},
      {{"o.zip", "f", "--method", "aes256"}, "--method needs a password"},
      {{"o.zip", "f", "--method", "rot13", "--password-file", "password"},
       "--method takes aes256, aes128, zipcrypt for ZIP, not rot13"},
      {{"o.7z", "f", "--password-file", "password"}, "7-Zip archives cannot be encrypted"},
      {{"o.tar.gz", "f", "--password-file", "password"},
       "tar with gzip archives cannot be encrypted"},
      {{"o.zip", "f", "--password", "--password-file", "x"}, "more than one password is given"},
      {{"o.zip", "f", "--into", "d"}, "unknown option --into"},
      {{"o.zip", "f", "--password-files", "d"}, "unknown option --password-files"},
  };
  for (const Row& row : rows) {
    expectFailure(row.arguments, 2, row.message);
  }
  remove({"f", "d", "password"});
}

TEST_F(Create, NamesAllThatCannotBeRead) {
  writeFile(in("f"), "x");
  expectFailure({"o.zip", "missing", "f", "gone"}, 1,
                "oxarchive: missing cannot be read: No such file or directory\n"
                "oxarchive: gone cannot be read: No such file or directory\n"
                "oxarchive: o.zip: no archive is made, because not everything can be read\n");
  remove({"f"});
}

TEST_F(Create, FailsWhereAnythingMayNotBeRead) {
  OX_SKIP_AS_ROOT();
  ASSERT_TRUE(fs::create_directories(in("t/closed")));
  writeFile(in("t/secret"), "x");
  ASSERT_EQ(::chmod(in("t/secret").c_str(), 0), 0);
  ASSERT_EQ(::chmod(in("t/closed").c_str(), 0), 0);
  expectFailure({"o.zip", "t"}, 1,
                "oxarchive: t/closed cannot be read: Permission denied\n"
                "oxarchive: t/secret cannot be read: Permission denied\n"
                "oxarchive: o.zip: no archive is made, because not everything can be read\n");
  remove({"t"});
}

TEST_F(Create, LeavesOutPipesAndSocketsAndSaysSo) {
  ASSERT_TRUE(fs::create_directory(in("t")));
  writeFile(in("t/f"), "x");
  ASSERT_EQ(::mkfifo(in("t/pipe").c_str(), 0600), 0);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  in("t/socket").copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  for (const std::string archive : {"o.tar.gz", "o.zip", "o.7z"}) {
    SCOPED_TRACE(archive);
    const ProgramResult result = create({archive, "t"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.errors,
              "oxarchive: t/pipe: devices, pipes and sockets are left out\n"
              "oxarchive: t/socket: devices, pipes and sockets are left out\n");
    EXPECT_THAT(result.output,
                AllOf(StartsWith(archive + ": 2 entries, "), EndsWith(" (incomplete)\n")));
    EXPECT_EQ(oxarchive({"extract", in(archive)}).exitCode, 0);
    EXPECT_EQ(treeOf(in("o")), (Tree{{"t", "folder"}, {"t/f", "file x"}}));
    remove({archive, "o"});
  }
  expectFailure({"o.zip", "t/pipe"}, 1, "no archive is made, because nothing is left to pack\n");
  ::close(socket);
  remove({"t"});
}

TEST_F(Create, FailsWhereAFileIsShorterThanItSaid) {
  // The kernel's files in /sys report the size of a page.
  const std::string shorter = "/sys/devices/system/cpu/online";
  std::error_code error;
  const auto size = fs::file_size(shorter, error);
  if (error || readFile(shorter).size() >= size) {
    GTEST_SKIP() << "there is no such file here";
  }
  for (const std::string archive : {"o.tar", "o.zip", "o.7z"}) {
    std::string message = "oxarchive: ";
    message.append(archive).append(": ").append(shorter);
    expectFailure({archive, shorter}, 1, message + " was changed while it was packed\n");
  }
}

TEST_F(Create, FailsWhereNoArchiveCanBeMade) {
  writeFile(in("f"), "x");
  expectFailure({"missing/o.zip", "f"}, 1,
                "oxarchive: missing/o.zip: no file can be made in missing/: No such file or");
  expectFailure({"f/o.zip", "f"}, 1, "oxarchive: f/o.zip: no file can be made in f/: Not a dir");
  const std::string longName = std::string(253, 'n') + ".zip";
  expectFailure({longName, "f"}, 1, ": it cannot be given its name: File name too long\n");
  remove({"f"});
}

TEST_F(Create, LeavesNothingOfAnArchiveThatGetsTooLarge) {
  writeFile(in("f"), noise(300'000));
  for (const std::string archive : {"o.tar", "o.zip", "o.7z"}) {
    SCOPED_TRACE(archive);
    const std::vector<std::string> before = names();
    const ProgramResult result = create({archive, "f"}, {.beforeExec = [] {
                                          const rlimit limit{100'000, 100'000};
                                          ::setrlimit(RLIMIT_FSIZE, &limit);
                                        }});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, AllOf(StartsWith("oxarchive: " + archive + ": "), EndsWith("\n")));
    EXPECT_EQ(names(), before);
  }
  remove({"f"});
}

TEST_F(Create, LeavesNothingOnAFullDisk) {
  OX_SKIP_UNLESS_ROOT("only root may mount a small disk");
  writeFile(in("f"), noise(300'000));
  ASSERT_TRUE(fs::create_directory(in("disk")));
  const ProgramResult result =
      create({"disk/o.tar", "f"}, {.beforeExec = [this] {
               if (::unshare(CLONE_NEWNS) != 0 ||
                   ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                   ::mount("none", in("disk").c_str(), "tmpfs", 0, "size=128k") != 0) {
                 ::_exit(77);
               }
             }});
  remove({"f", "disk"});
  if (result.exitCode == 77) {
    GTEST_SKIP() << "mounting is not allowed here";
  }
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "oxarchive: disk/o.tar: it cannot be written: No space left on device\n");
}

// Whether a process has an unnamed new file in `folder` open.
bool isWritingIn(const std::string& folder, int process) {
  std::error_code ignored;
  const fs::path descriptors = "/proc/" + std::to_string(process) + "/fd";
  for (const fs::directory_entry& descriptor : fs::directory_iterator(descriptors, ignored)) {
    const std::string path = fs::read_symlink(descriptor, ignored).string();
    if (path.starts_with(folder + "/#") || path.starts_with(folder + "/.oxarchive.")) {
      return true;
    }
  }
  return false;
}

TEST_F(Create, AnInterruptionLeavesNothing) {
  // A hole that takes long to pack.
  writeFile(in("f"));
  ASSERT_EQ(::truncate(in("f").c_str(), 8'589'940'000), 0);
  const std::vector<std::string> before = names();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal);
    const auto interrupt = [&](int child) {
      while (!isWritingIn(work(), child)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      ::kill(child, signal);
    };
    const ProgramResult result =
        create({"o.zip", "f", "--level=fastest"}, {.whileRunning = interrupt});
    EXPECT_EQ(result.signal, signal);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "oxarchive: o.zip: interrupted\n");
    EXPECT_EQ(names(), before);
  }
  remove({"f"});
}

TEST_F(Create, NothingIsLeftOfAKilledProcess) {
  writeFile(in("f"));
  ASSERT_EQ(::truncate(in("f").c_str(), 8'589'940'000), 0);
  const ProgramResult result = create({"o.zip", "f"}, {.whileRunning = [&](int child) {
                                        while (!isWritingIn(work(), child)) {
                                          std::this_thread::sleep_for(std::chrono::milliseconds(1));
                                        }
                                        ::kill(child, SIGKILL);
                                      }});
  EXPECT_EQ(result.signal, SIGKILL);
  for (const std::string& name : names()) {
    // On file systems without unnamed files.
    EXPECT_TRUE(name == "f" || name.starts_with(".oxarchive.")) << name;
    remove({name});
  }
}

TEST_F(Create, DrawsAProgressBarOnATerminalAlone) {
  OX_SKIP_WITHOUT_TERMINALS();
  writeFile(in("f"), noise(300'000));
  const auto onTerminal = [] { ::setenv("TERM", "xterm", 1); };
  EXPECT_EQ(create({"o.tar", "f"}, {.beforeExec = onTerminal}).errors, "");
  const ProgramResult result =
      create({"o.tar", "f"}, {.errorsOnTerminal = true, .beforeExec = onTerminal});
  EXPECT_EQ(result.exitCode, 0);
  const std::string clearLine = "\r\x1b[K";
  EXPECT_THAT(result.errors, AllOf(StartsWith(clearLine + "o.tar  ["), EndsWith(clearLine)));
  remove({"f", "o.tar", "o (1).tar"});
}

}  // namespace

// SPDX-License-Identifier: MIT

#include "platform/files/Files.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "support/ObservedSystem.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox;
using namespace ox::test;
using testing::ElementsAre;

class FileManager : public TemporaryFolderTest {
 protected:
  PathBuffer path(const std::string& name) const { return PathBuffer(in(name)); }
};

const std::string nul("a\0b", 3);

TEST_F(FileManager, TellsWhatExistsAndWhatIsTaken) {
  writeFile(in("file"));
  std::filesystem::create_symlink("file", in("link"));
  std::filesystem::create_symlink("nowhere", in("dangling"));
  std::filesystem::create_symlink("loop", in("loop"));
  struct Row {
    std::string name;
    bool exists;
    bool isTaken;
  };
  const Row rows[] = {
      {"file", true, true},
      {"link", true, true},
      {"dangling", false, true},
      {"loop", false, true},
      {"missing", false, false},
      {"file/x", false, false},
      {"file" + nul, false, false},
      {nul, false, false},
      {std::string(300, 'n'), false, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.name));
    EXPECT_EQ(files::itemExists(path(row.name)), row.exists);
    EXPECT_EQ(files::isNameTaken(path(row.name)), row.isTaken);
  }
  for (const char* name : {"file", "link", "dangling", "loop"}) {
    removeOne(in(name));
  }
}

TEST_F(FileManager, MakesFoldersExclusively) {
  EXPECT_EQ(files::createFolder(path("d")), 0);
  EXPECT_EQ(files::createFolder(path("d")), EEXIST);
  writeFile(in("file"));
  EXPECT_EQ(files::createFolder(path("file")), EEXIST);
  EXPECT_EQ(files::createFolder(path("file/x")), ENOTDIR);
  std::filesystem::create_symlink("d", in("link"));
  EXPECT_EQ(files::createFolder(path("link")), EEXIST);
  EXPECT_EQ(files::createFolder(path(nul)), ENOENT);
  EXPECT_EQ(files::createFolder(path("link/x")), 0);
  EXPECT_THAT(listing(work()), ElementsAre("d", "d/x", "file", "link"));
  for (const char* name : {"d/x", "d", "file", "link"}) {
    removeOne(in(name));
  }
}

TEST_F(FileManager, MakesFoldersOnTheWay) {
  EXPECT_EQ(files::createFolder(path("a//b/./c"), 0700), 0);
  for (const char* name : {"a", "a/b", "a/b/c"}) {
    EXPECT_EQ(std::filesystem::status(in(name)).permissions(), std::filesystem::perms::owner_all);
  }
  EXPECT_EQ(files::createFolder(path("a/b/c")), EEXIST);
  for (const char* name : {"a/b/c", "a/b", "a"}) {
    removeOne(in(name));
  }
}

TEST_F(FileManager, OpensRegularFilesAlone) {
  writeFile(in("file"), "x");
  std::filesystem::create_symlink("file", in("link"));
  std::filesystem::create_symlink("nowhere", in("dangling"));
  std::filesystem::create_directory(in("folder"));
  ASSERT_EQ(::mkfifo(in("fifo").c_str(), 0600), 0);
  const std::pair<std::string, bool> rows[] = {
      {"file", true},  {"link", true},     {"dangling", false}, {"folder", false},
      {"fifo", false}, {"missing", false}, {nul, false},
  };
  for (const auto& [name, isOpened] : rows) {
    EXPECT_EQ(files::openRegularFile(path(name)).isOpen(), isOpened) << name;
  }
  EXPECT_FALSE(files::openRegularFile(PathBuffer("/dev/null")).isOpen());
  for (const char* name : {"file", "link", "dangling", "folder", "fifo"}) {
    removeOne(in(name));
  }
}

TEST_F(FileManager, FindsTheTemporaryFolderOfTheUser) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(work());
  const std::pair<std::optional<std::string>, std::string> rows[] = {
      {std::nullopt, "/tmp/"}, {"", "/tmp/"},    {"/x", "/x"},         {"/x//", "/x//"},
      {"x", in("x")},          {"x/", in("x/")}, {"../x", in("../x")}, {".", in(".")},
  };
  for (const auto& [value, folder] : rows) {
    const ScopedEnvironment environment("TMPDIR", value);
    EXPECT_EQ(files::temporaryFolder(), folder);
  }
  {
    const ScopedEnvironment environment("TMPDIR", "x");
    ObservedSystem system;
    system.fail(Call::getcwd, ENOENT);
    EXPECT_EQ(files::temporaryFolder(), "x");
  }
  std::filesystem::current_path(before);
}

}  // namespace

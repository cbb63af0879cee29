// A world of its own for each test: a folder with a home, a data folder and a temporary folder in
// it, and an environment that points there. What a test makes it must remove: the folders are
// removed non-recursively, and whatever is left in them fails the test.

#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ox::test {

// Sets an environment variable, or removes it, until the object goes.
class ScopedEnvironment {
 public:
  ScopedEnvironment(std::string name, const std::optional<std::string>& value);
  ~ScopedEnvironment();
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  std::string name_;
  std::optional<std::string> before_;
};

// Has the temporary folder in memory, where that is possible: for tests that would wait for a disk
// most of the time. It is derived from before `TemporaryFolderTest`.
class InMemory {
 private:
  static std::string folder();

  const ScopedEnvironment temporaryFolder_{"TMPDIR", folder()};
};

class TemporaryFolderTest : public testing::Test {
 public:
  TemporaryFolderTest();
  ~TemporaryFolderTest() override;
  TemporaryFolderTest(const TemporaryFolderTest&) = delete;
  TemporaryFolderTest& operator=(const TemporaryFolderTest&) = delete;

 protected:
  void TearDown() override;

  // Absolute, without a slash at the end.
  const std::string& home() const { return home_; }
  const std::string& tmp() const { return tmp_; }    // $TMPDIR
  const std::string& work() const { return work_; }  // for the test's own items

  // `name` in `work()`.
  std::string in(const std::string& name) const { return work_ + "/" + name; }

 private:
  std::string root_;
  std::string home_;
  std::string data_;
  std::string tmp_;
  std::string work_;
  std::vector<std::unique_ptr<ScopedEnvironment>> environment_;
};

// Makes a file with the given contents.
void writeFile(const std::string& path, const std::string& contents = "");

std::string readFile(const std::string& path);

// Removes one item, not what is in it; fails the test when that cannot be done.
void removeOne(const std::string& path);

// Removes an item, with everything in it if it is a folder: of any depth and whatever its
// permissions. Refuses what is not in a test's own folder. By coreutils, so that no test relies on
// the library's own removal to clean up.
void removeTree(const std::string& path);

// The names in a folder, sorted, each followed by those below it ("a", "a/b", …); links are not
// followed.
std::vector<std::string> listing(const std::string& folder);

bool isFolder(const std::string& path);
bool exists(const std::string& path);  // a link that leads nowhere exists

// Root may do what permissions forbid.
bool isRoot();

}  // namespace ox::test

// For a test of what permissions forbid.
#define OX_SKIP_AS_ROOT()                                                 \
  if (ox::test::isRoot()) {                                               \
    GTEST_SKIP() << "root may do what this test expects to be forbidden"; \
  }

#define OX_SKIP_UNLESS_ROOT(reason) \
  if (!ox::test::isRoot()) {        \
    GTEST_SKIP() << (reason);       \
  }

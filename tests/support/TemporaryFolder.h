// SPDX-License-Identifier: MIT

// Gives each test its own folder with a home, a data folder and a temporary folder, and an
// environment that points there. A test must remove what it makes: the folders are removed
// non-recursively, so anything left in them fails the test.

#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ox::test {

// Sets or removes an environment variable during its lifetime.
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

// Puts the temporary folder in memory if possible, for tests that would mostly wait for a disk.
// Must precede `TemporaryFolderTest` in a list of base classes.
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

// Removes one item non-recursively; on failure, fails the test.
void removeOne(const std::string& path);

// Removes an item recursively, at any depth and with any permissions. Refuses a path outside the
// test's own folder. Uses coreutils, so that cleaning up does not rely on the library's own
// removal.
void removeTree(const std::string& path);

// The names in a folder, sorted, each followed by those below it ("a", "a/b", …); links are not
// followed.
std::vector<std::string> listing(const std::string& folder);

bool isFolder(const std::string& path);
bool exists(const std::string& path);  // true for a dangling link

// Permissions do not restrict root.
bool isRoot();

}  // namespace ox::test

// For tests that expect permissions to be enforced.
#define OX_SKIP_AS_ROOT()                               \
  if (ox::test::isRoot()) {                             \
    GTEST_SKIP() << "permissions do not restrict root"; \
  }

#define OX_SKIP_UNLESS_ROOT(reason) \
  if (!ox::test::isRoot()) {        \
    GTEST_SKIP() << (reason);       \
  }

// SPDX-License-Identifier: MIT

#include "support/TemporaryFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/ChildProcess.h"

namespace ox::test {

namespace fs = std::filesystem;

ScopedEnvironment::ScopedEnvironment(std::string name, const std::optional<std::string>& value)
    : name_(std::move(name)) {
  if (const char* before = std::getenv(name_.c_str())) {
    before_ = before;
  }
  if (value) {
    ::setenv(name_.c_str(), value->c_str(), 1);
  } else {
    ::unsetenv(name_.c_str());
  }
}

ScopedEnvironment::~ScopedEnvironment() {
  if (before_) {
    ::setenv(name_.c_str(), before_->c_str(), 1);
  } else {
    ::unsetenv(name_.c_str());
  }
}

std::string InMemory::folder() {
  if (::access("/dev/shm", W_OK | X_OK) == 0) {
    return "/dev/shm";
  }
  return fs::temp_directory_path();
}

TemporaryFolderTest::TemporaryFolderTest() {
  std::string root = (fs::temp_directory_path() / "orvexkit-test.XXXXXX").string();
  if (::mkdtemp(root.data()) == nullptr) {
    ADD_FAILURE() << "cannot create a temporary folder at " << root;
    return;
  }
  root_ = fs::canonical(root).string();
  home_ = root_ + "/home";
  data_ = root_ + "/data";
  tmp_ = root_ + "/tmp";
  work_ = root_ + "/work";
  for (const std::string* folder : {&home_, &data_, &tmp_, &work_}) {
    fs::create_directory(*folder);
  }
  const std::array<std::pair<const char*, std::string*>, 3> variables{
      {{"HOME", &home_}, {"XDG_DATA_HOME", &data_}, {"TMPDIR", &tmp_}}};
  for (const auto& [name, folder] : variables) {
    environment_.push_back(std::make_unique<ScopedEnvironment>(name, *folder));
  }
}

void TemporaryFolderTest::TearDown() {
  for (const std::string* folder : {&home_, &data_, &tmp_, &work_, &root_}) {
    if (::rmdir(folder->c_str()) != 0) {
      ADD_FAILURE() << "left behind in " << *folder << ": "
                    << testing::PrintToString(listing(*folder));
    }
  }
}

TemporaryFolderTest::~TemporaryFolderTest() {
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

void writeFile(const std::string& path, const std::string& contents) {
  std::ofstream file(path, std::ios::binary);
  file << contents;
  file.close();
  ASSERT_TRUE(file) << path;
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

void removeOne(const std::string& path) {
  EXPECT_EQ(::remove(path.c_str()), 0) << path;
}

void removeTree(const std::string& path) {
  // Even if a test goes wrong, nothing outside the tests' own folders is removed.
  if (path.find("/orvexkit-test.") == std::string::npos) {
    ADD_FAILURE() << "not in a test's own folder: " << path;
    return;
  }
  if (isFolder(path)) {
    EXPECT_EQ(run({.program = "chmod", .arguments = {"-R", "u+rwx", path}}).exitCode, 0);
  }
  EXPECT_EQ(run({.program = "rm", .arguments = {"-rf", path}}).exitCode, 0);
}

std::vector<std::string> listing(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::recursive_directory_iterator(folder, error)) {
    names.push_back(entry.path().string().substr(folder.size() + 1));
  }
  std::ranges::sort(names);
  return names;
}

bool isFolder(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool exists(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

bool isRoot() {
  return ::geteuid() == 0;
}

}  // namespace ox::test

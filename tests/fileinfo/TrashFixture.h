// SPDX-License-Identifier: MIT

// The fixture of the Trash tests: the user's Trash in the test's own folder.

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/TemporaryFolder.h"

namespace ox::test {

class TrashFixture : public TemporaryFolderTest {
 protected:
  using Names = std::vector<std::string>;

  void TearDown() override {
    for (const std::string& path : {trash(), work()}) {
      removeTree(path);
    }
    std::filesystem::create_directory(work());
    TemporaryFolderTest::TearDown();
  }

  static std::string trash(const std::string& name = "") {
    return std::getenv("XDG_DATA_HOME") + std::string("/Trash") + (name.empty() ? "" : "/") + name;
  }

  static Names items() { return namesIn(trash("files")); }
  static Names entries() { return namesIn(trash("info")); }

  static Names namesIn(const std::string& folder) {
    Names names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
      names.push_back(entry.path().filename());
    }
    std::ranges::sort(names);
    return names;
  }

  // The path as written in an entry.
  static std::string pathIn(const std::string& entry, const std::string& trashFolder = trash()) {
    const std::string text = readFile(trashFolder + "/info/" + entry);
    const std::size_t start = text.find("Path=") + 5;
    return text.substr(start, text.find('\n', start) - start);
  }

  static mode_t permissionsOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
  }

  // Makes the test's folders accessible to every user, unless TMPDIR is not.
  [[nodiscard]] bool openToAll() const {
    const std::filesystem::path root = std::filesystem::path(work()).parent_path();
    for (const std::string& folder : {root.string(), work()}) {
      EXPECT_EQ(::chmod(folder.c_str(), 0777), 0);
    }
    std::filesystem::path folder = root;
    while (folder.has_relative_path()) {
      folder = folder.parent_path();
      if ((permissionsOf(folder) & S_IXOTH) == 0) {
        return false;
      }
    }
    return true;
  }

  // Checks that the item "file" is either in its place and not in the Trash, or in the Trash with
  // an entry.
  static void expectAllOrNothing(bool answer, const std::string& path, const Names& items,
                                 const Names& entries) {
    if (answer) {
      EXPECT_FALSE(exists(path));
      ASSERT_THAT(items, testing::ElementsAre("file"));
      EXPECT_THAT(entries, testing::ElementsAre("file.trashinfo"));
    } else {
      EXPECT_EQ(readFile(path), "contents");
      EXPECT_THAT(items, testing::IsEmpty());
      EXPECT_THAT(entries, testing::IsEmpty());
    }
  }
};

}  // namespace ox::test

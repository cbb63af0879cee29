// SPDX-License-Identifier: MIT

#include <OrvexKit/OXFileUtil.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/Share.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox::test;
using testing::IsEmpty;

const int foldersEach = ox::test::shareOf(200, 4);

class FolderRace : public TemporaryFolderTest {
 protected:
  // All distinct and existing, the numbers without a gap, and nothing else.
  void expectFoldersAndRemoveThem(const std::vector<std::string>& made, int count) {
    const std::set<std::string> distinct(made.begin(), made.end());
    EXPECT_EQ(made.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(distinct.size(), made.size());
    EXPECT_EQ(listing(work()).size(), made.size());
    EXPECT_TRUE(distinct.contains(in("notes")));
    for (int i = 1; i < count; ++i) {
      EXPECT_TRUE(distinct.contains(in("notes (" + std::to_string(i) + ")"))) << i;
    }
    for (const std::string& path : distinct) {
      EXPECT_TRUE(isFolder(path)) << path;
      removeOne(path);
    }
    EXPECT_THAT(listing(tmp()), IsEmpty()) << "a scratch folder is left";
  }
};

TEST_F(FolderRace, ThreadsNeverGetTheSameFolder) {
  constexpr int threadCount = 16;
  std::array<std::vector<std::string>, threadCount> made;
  {
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (std::vector<std::string>& own : made) {
      threads.emplace_back([this, &own] {
        for (int i = 0; i < foldersEach; ++i) {
          own.push_back(OXSafelyCreateArchiveSubdir("notes.zip", work(), true).value_or("null"));
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  std::vector<std::string> all;
  for (const std::vector<std::string>& own : made) {
    all.insert(all.end(), own.begin(), own.end());
  }
  expectFoldersAndRemoveThem(all, threadCount * foldersEach);
}

TEST_F(FolderRace, ProcessesNeverGetTheSameFolder) {
  constexpr int processCount = 8;
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  std::vector<pid_t> processes;
  for (int p = 0; p < processCount; ++p) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      ::close(ends[0]);
      bool allWritten = true;
      for (int i = 0; i < foldersEach; ++i) {
        // Short enough for one atomic write.
        const std::string line =
            OXSafelyCreateArchiveSubdir("notes.zip", work(), true).value_or("null") + "\n";
        allWritten &=
            ::write(ends[1], line.data(), line.size()) == static_cast<ssize_t>(line.size());
      }
      ::_exit(allWritten ? 0 : 1);
    }
    processes.push_back(pid);
  }
  ::close(ends[1]);
  std::string text;
  std::array<char, 4096> buffer{};
  for (ssize_t count = 0; (count = ::read(ends[0], buffer.data(), buffer.size())) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  for (const pid_t pid : processes) {
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0);
  }
  std::vector<std::string> made;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    made.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  expectFoldersAndRemoveThem(made, processCount * foldersEach);
}

TEST_F(FolderRace, TemporaryFoldersOfThreadsAreTheirOwn) {
  std::array<std::string, 16> made;
  {
    std::vector<std::thread> threads;
    threads.reserve(made.size());
    for (std::string& own : made) {
      threads.emplace_back([&own] { own = OXCreateTemporaryDirectory().value_or("null"); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  EXPECT_EQ(std::set<std::string>(made.begin(), made.end()).size(), made.size());
  for (const std::string& path : made) {
    removeOne(path);
  }
}

}  // namespace

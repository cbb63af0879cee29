// SPDX-License-Identifier: MIT

// What a record's lock blocks, and what it does not.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#include "OrvexKit/OXArchiveSettings.h"
#include "OrvexKit/OXDeltaNode.h"
#include "OrvexKit/OXFormatInfo.h"
#include "support/Emulator.h"

namespace {

// More records than a table of shared locks would have locks, so that some would share one.
constexpr std::size_t manyRecords = 256;
constexpr unsigned patience = 20;  // in seconds; a child that takes longer hangs

// Runs `use` in a forked child. Its exit status is 0 unless it hung or crashed.
template <typename Use>
int statusOfChild(Use use) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(patience);
    use();
    ::_exit(0);
  }
  int status = -1;
  return ::waitpid(child, &status, 0) == child ? status : -1;
}

// Forks repeatedly while other threads call `busy`.
template <typename Busy, typename Use>
void forkWhileBusy(Busy busy, Use use) {
  std::atomic<bool> isDone = false;
  std::vector<std::thread> threads;
  threads.reserve(2);
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      while (!isDone) {
        busy();
      }
    });
  }
  for (int i = 0; i < 100; ++i) {
    const int status = statusOfChild(use);
    EXPECT_EQ(status, 0) << "child " << i;
    if (status != 0) {
      break;
    }
  }
  isDone = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(RecordLock, OfOneRecordIsNoneOfAnotherInAForkedChild) {
  OXFormatInfo used;
  const auto list = std::make_shared<OXFormatInfo::Strings>();
  std::array<OXFormatInfo, manyRecords> others;
  std::array<OXArchiveSettings, manyRecords> settings;
  std::array<OXDeltaNode, manyRecords> nodes;
  for (OXDeltaNode& node : nodes) {
    node.addChild(std::make_shared<OXDeltaNode>());
  }
  forkWhileBusy(
      [&] {
        used.setExtensions(list);
        static_cast<void>(used.extensions());
      },
      [&] {
        for (std::size_t i = 0; i < manyRecords; ++i) {
          static_cast<void>(others[i].extensions());
          others[i].setExtensions(list);
          static_cast<void>(settings[i].auxSettings());
          static_cast<void>(nodes[i].name());
          static_cast<void>(nodes[i].childNamed("none"));
        }
      });
}

TEST(RecordLock, OfOneListIsNoneOfAnotherInAForkedChild) {
  OXDeltaNode used;
  used.addChild(std::make_shared<OXDeltaNode>());
  std::array<OXDeltaNode, manyRecords> nodes;
  for (OXDeltaNode& node : nodes) {
    node.addChild(std::make_shared<OXDeltaNode>());
  }
  forkWhileBusy([&] { static_cast<void>(used.childNamed("none")); },
                [&] {
                  for (const OXDeltaNode& node : nodes) {
                    static_cast<void>(node.childNamed("none"));
                  }
                });
}

OXDeltaNode* treeOfTheHandler = nullptr;

// Reads the whole tree that was being walked.
void lookAtTheTree(int /*signal*/) {
  ::alarm(patience);
  const bool isWhole = treeOfTheHandler->childNamed("a") != nullptr &&
                       treeOfTheHandler->children()->size() == 1 &&
                       treeOfTheHandler->childNamed("a")->fullPathOnDisk() == "/d/a";
  ::_exit(isWhole ? 7 : 8);
}

TEST(RecordLockDeathTest, IsNotHeldWhenTheProcessAborts) {
  GTEST_FLAG_SET(death_test_style, ox::test::deathTestStyle);
  const auto addWhileWalking = [] {
    const auto root = std::make_shared<OXDeltaNode>();
    const auto child = std::make_shared<OXDeltaNode>();
    child->setName("a");
    child->setPhysicalPath("/d");
    root->addChild(child);
    treeOfTheHandler = root.get();
    static_cast<void>(std::signal(SIGABRT, lookAtTheTree));
    root->traversePathsUsingBlock(
        [&](std::string_view, std::string_view, bool) { root->addChild(child); });
  };
  EXPECT_EXIT(addWhileWalking(), testing::ExitedWithCode(7), "that is being walked");
}

}  // namespace

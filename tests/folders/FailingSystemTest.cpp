// SPDX-License-Identifier: MIT

// Each system call of each rule on folders fails in turn: the documented value is returned, no
// descriptor leaks, and nothing is left half made.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "OrvexKit/OXScopedTempDir.h"
#include "support/LogCapture.h"
#include "support/ObservedSystem.h"
#include "support/ProcessState.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

using ox::test::isFolder;
using ox::test::listing;
using ox::test::ObservedSystem;
using ox::test::ScopedEnvironment;
using ox::test::takeLogLines;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Names = std::vector<std::string>;

constexpr std::array<int, 7> errors{EACCES, ENOSPC, EMFILE, ENOMEM, EIO, EROFS, ENOENT};

const std::vector<ox::test::LogLine> creationFailed = {
    ox::test::libraryLine("mkstemp failed to generate a temp dir!")};

const std::vector<ox::test::LogLine> noLines;

class FailingSystem : public ox::test::TemporaryFolderTest {
 protected:
  FailingSystem() { static_cast<void>(takeLogLines()); }

  // Runs the rule with its first call failing, then the second and so on, with every error. Returns
  // how many calls failed.
  static int failInTurn(const std::function<void(int nth)>& rule) {
    int failed = 0;
    const std::size_t descriptors = ox::test::openDescriptorCount();
    for (const int error : errors) {
      for (int nth = 1;; ++nth) {
        SCOPED_TRACE("call " + std::to_string(nth) + ": " + std::strerror(error));
        ObservedSystem observed;
        observed.failNth(nth, error);
        rule(nth);
        if (observed.count() < nth) {
          break;
        }
        ++failed;
      }
    }
    EXPECT_EQ(ox::test::openDescriptorCount(), descriptors);
    return failed;
  }

  static void emptyFolder(const std::string& folder) {
    for (const auto& entry : fs::directory_iterator(folder)) {
      fs::remove_all(entry);
    }
  }
};

TEST_F(FailingSystem, MakesNoTemporaryFolderAndSaysSo) {
  for (const auto& make : {+[] { return OXCreateTemporaryDirectory(); },
                           +[] { return OXCreateTemporaryDirectoryInDir(std::getenv("TMPDIR")); },
                           +[] { return OXScopedTempDir().path(); }}) {
    failInTurn([&](int nth) {
      const OXString folder = make();
      if (nth == 1) {
        EXPECT_EQ(folder, std::nullopt);
        EXPECT_EQ(takeLogLines(), creationFailed);
        EXPECT_THAT(listing(tmp()), IsEmpty());
      } else {
        EXPECT_THAT(*folder, StartsWith(tmp() + "/.orvx."));
        EXPECT_THAT(takeLogLines(), IsEmpty());
        emptyFolder(tmp());
      }
    });
  }
}

TEST_F(FailingSystem, GivesTheTemporaryFolderItselfInPlaceOfAUniqueOne) {
  EXPECT_EQ(failInTurn([&](int nth) {
              const OXString folder = OXCreateUniqueTempDir();
              if (nth == 1) {
                EXPECT_EQ(folder, tmp());
                EXPECT_THAT(listing(tmp()), IsEmpty());
              } else {
                EXPECT_THAT(*folder, StartsWith(tmp() + "/Vantrel."));
                emptyFolder(tmp());
              }
              EXPECT_THAT(takeLogLines(), IsEmpty());
            }),
            7);
}

TEST_F(FailingSystem, FindsAFreeNameWithoutMakingAnything) {
  // So many taken names that the folder is listed.
  ox::test::writeFile(in("x.zip"));
  Names taken{"x.zip"};
  for (int i = 1; i <= 20; ++i) {
    taken.push_back("x (" + std::to_string(i) + ").zip");
    ox::test::writeFile(in(taken.back()));
  }
  std::ranges::sort(taken);
  const int failed = failInTurn([&](int) {
    const OXString name = OXSequentiallyUniqueName("x.zip", work(), false);
    // A name that cannot be checked counts as free.
    EXPECT_THAT(*name, StartsWith(in("x")));
    EXPECT_EQ(listing(work()), taken);
    EXPECT_THAT(takeLogLines(), IsEmpty());
  });
  EXPECT_GE(failed, 7 * 20);
  emptyFolder(work());
}

TEST_F(FailingSystem, MakesTheFolderOfAnArchiveOrNone) {
  // A package's name, a taken name, and a destination with missing parents.
  for (const std::string destination : {"", "/new/folder"}) {
    int answers = 0;
    failInTurn([&](int) {
      fs::create_directory(in("Tool"));
      const OXString folder =
          OXSafelyCreateArchiveSubdir("Tool.app.zip", work() + destination, true);
      const Names madeInTmp = listing(tmp());
      if (folder) {
        ++answers;
        EXPECT_THAT(*folder, StartsWith(work() + destination + "/Tool"));
        EXPECT_NE(*folder, in("Tool"));
        EXPECT_THAT(*folder, Not(EndsWith(".app")));
        EXPECT_THAT(takeLogLines(), IsEmpty());
      } else {
        // Either there was no scratch folder, or it remains because opening it or moving in it
        // failed.
        EXPECT_EQ(takeLogLines(), madeInTmp.empty() ? creationFailed : noLines);
        EXPECT_EQ(listing(work()), Names{"Tool"});
      }
      for (const std::string& name : madeInTmp) {
        EXPECT_THAT(name, StartsWith(".orvx."));
      }
      EXPECT_TRUE(isFolder(in("Tool")));
      emptyFolder(tmp());
      emptyFolder(work());
    });
    EXPECT_GT(answers, 50);
  }
}

TEST_F(FailingSystem, IsOvercomeWhenOnlySignalsInterruptTheCalls) {
  Names taken{"Tool", "Tool (1)"};
  for (int i = 2; i <= 20; ++i) {
    taken.push_back("Tool (" + std::to_string(i) + ")");
  }
  for (const std::string& name : taken) {
    fs::create_directory(in(name));
  }
  const ScopedEnvironment relative("TMPDIR", fs::proximate(tmp()).string());
  for (const int times : {1, 2, 50}) {
    SCOPED_TRACE(times);
    ObservedSystem observed;
    observed.interruptEach(times);
    EXPECT_EQ(OXSafelyCreateArchiveSubdir("Tool.app.zip", work() + "/new/folder", true),
              in("new/folder/Tool"));
    EXPECT_EQ(OXSafelyCreateArchiveSubdir("Tool.app.zip", work(), true), in("Tool (21)"));
    EXPECT_THAT(listing(tmp()), IsEmpty()) << "no scratch folder remains";
    EXPECT_TRUE(isFolder(in("Tool (21)")));
    fs::remove(in("Tool (21)"));
    ox::test::removeTree(in("new"));
    EXPECT_TRUE(isFolder(OXCreateTemporaryDirectory().value()));
    EXPECT_TRUE(isFolder(OXCreateUniqueTempDir().value()));
    emptyFolder(tmp());
    {
      const OXScopedTempDir scratch;
      ASSERT_TRUE(scratch.path());
      fs::create_directories(*scratch.path() + "/a/b/c/d/e/f/g/h/i/j/k/l");
      ::chmod((*scratch.path() + "/a").c_str(), 0);
    }
    EXPECT_THAT(listing(tmp()), IsEmpty());
  }
  EXPECT_THAT(takeLogLines(), IsEmpty());
  emptyFolder(work());
}

}  // namespace

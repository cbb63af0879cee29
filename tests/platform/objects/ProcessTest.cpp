// SPDX-License-Identifier: MIT

// What may be called after a fork, in a signal handler and during process exit: one test per row of
// docs/processes.md.

#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "OrvexKit/OrvexKit.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace OXFileUtilAdditions;

constexpr unsigned patience = 20;  // in seconds; a process that takes longer hangs

// Calls `use` in a forked child while the parent's other threads keep calling it. Returns true if
// the child ends by itself and all its results are correct.
bool worksInChildren(const std::function<bool()>& use) {
  std::atomic<bool> isDone = false;
  std::vector<std::thread> threads;
  threads.reserve(2);
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      while (!isDone) {
        static_cast<void>(use());
      }
    });
  }
  bool works = true;
  for (int i = 0; i < 20 && works; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(patience);
      ::_exit(use() ? 0 : 1);
    }
    int status = -1;
    works = ::waitpid(child, &status, 0) == child && status == 0;
  }
  isDone = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  return works;
}

bool encodesAndDecodes() {
  OXArchivedFile file;
  file.setPath("docs/a.txt");
  OXCBOREncoder encoder(OXCBORMode::keyed);
  file.encodeWithCoder(encoder);
  OXCBORDecoder decoder(encoder.bytes(), OXCBORMode::keyed);
  const auto decoded = OXArchivedFile::initWithCoder(decoder);
  return decoded != nullptr && decoded->path() == "docs/a.txt";
}

class AfterFork : public ox::test::TemporaryFolderTest {};

TEST_F(AfterFork, NamesAreKnown) {
  EXPECT_TRUE(worksInChildren([] {
    return archiveExtension("/v/a long name of an archive.tar.gz") == "tar.gz" &&
           stringByDeletingArchiveExtension("/v/a long name of an archive.tar.gz") ==
               "/v/a long name of an archive" &&
           OXGetFirstArchiveVolumePath("/missing/folder/disk.7z.002") ==
               "/missing/folder/disk.7z.002" &&
           OXPathByRemovingAncestorPath("/a/b", "/a") == "b" && canonicalPath("/") == "/" &&
           OXHumanReadableFileSize(1500) == "1.5 KB";
  }));
}

TEST_F(AfterFork, RecordsOfItsOwnWork) {
  EXPECT_TRUE(worksInChildren([] {
    OXFormatInfo format;
    format.setName("a name that is kept on the heap");
    OXArchiveSettings settings;
    settings.setPassword("secret");
    OXDeltaNode root;
    const auto child = std::make_shared<OXDeltaNode>();
    child->setName("a");
    child->setPhysicalPath("/d");
    root.addChild(child);
    std::string walked;
    root.traversePathsUsingBlock(
        [&](std::string_view relative, std::string_view, bool) { walked += relative; });
    return format.description() == "a name that is kept on the heap" &&
           settings.copyWithZone()->password() == "secret" && root.childNamed("a") == child &&
           walked == "a";
  }));
}

TEST_F(AfterFork, NumbersOfEveryRecordWork) {
  OXFormatInfo format;
  OXDeltaNode node;
  OXArchiveSettings settings;
  const bool works = worksInChildren([&] {
    format.setFormatId(7);
    settings.setVolumeSize(8);
    node.setIsFolder(true);
    return format.formatId() == 7 && settings.volumeSize() == 8 && node.isFolder();
  });
  EXPECT_TRUE(works);
}

TEST_F(AfterFork, CodersWork) {
  EXPECT_TRUE(worksInChildren(encodesAndDecodes));
}

TEST_F(AfterFork, FoldersAndSizesWork) {
  ox::test::writeFile(in("file"), "abc");
  EXPECT_TRUE(worksInChildren([this] {
    OXFileReference reference;
    const OXString folder = OXCreateTemporaryDirectoryInDir(work());
    const OXString subfolder = OXSafelyCreateArchiveSubdir("notes.zip", folder, true);
    const bool works = folder && subfolder && OXGetFileSize(in("file")) == 3 &&
                       OXGetTotalFolderSize(folder) == 0 &&
                       OXReferenceFromPath(reference, in("file")) &&
                       OXSequentiallyUniqueName("x", folder, false) == *folder + "/x";
    ::rmdir(subfolder->c_str());
    ::rmdir(folder->c_str());
    return works;
  }));
  ox::test::removeOne(in("file"));
}

TEST_F(AfterFork, SupportFoldersAreKnownOnceTheyWere) {
  const OXString codec = OXRARCodecPath();
  EXPECT_TRUE(worksInChildren(
      [&] { return OXRARCodecPath() == codec && OXAppSupportDir() && OXUserCodecsPath(); }));
  ::rmdir(OXUserCodecsPath()->c_str());
  ::rmdir(OXAppSupportDir()->c_str());
}

TEST_F(AfterFork, ScopesRelease) {
  EXPECT_TRUE(worksInChildren([] {
    OXReleaseScope scope;
    const auto object = std::make_shared<OXObject>();
    OXReleaseScope::current().defer(object);
    return object.use_count() == 2;
  }));
}

OXArchivedFile* fileOfTheHandler = nullptr;
OXFormatInfo* formatOfTheHandler = nullptr;

void countUp(int /*signal*/) {
  fileOfTheHandler->setActualSize(fileOfTheHandler->actualSize() + 1);
  formatOfTheHandler->setMaxSupportedVersion(formatOfTheHandler->maxSupportedVersion() + 1);
  formatOfTheHandler->setIsCreationSupported(!formatOfTheHandler->isCreationSupported());
}

// The interrupted code uses the same record, mostly while holding its lock.
TEST(SignalHandler, GetsAndSetsNumbersAndFlags) {
  OXArchivedFile file;
  OXFormatInfo format;
  fileOfTheHandler = &file;
  formatOfTheHandler = &format;
  const auto before = std::signal(SIGALRM, countUp);
  constexpr timeval often{0, 200};
  const itimerval timer{often, often};
  const auto list = std::make_shared<OXFormatInfo::Strings>();
  ASSERT_EQ(::setitimer(ITIMER_REAL, &timer, nullptr), 0);
  while (file.actualSize() < 500) {
    format.setExtensions(list);
    static_cast<void>(format.extensions());
  }
  constexpr itimerval never{};
  ASSERT_EQ(::setitimer(ITIMER_REAL, &never, nullptr), 0);
  static_cast<void>(std::signal(SIGALRM, before));
  EXPECT_EQ(format.maxSupportedVersion(), static_cast<double>(file.actualSize()));
  EXPECT_EQ(format.isCreationSupported(), file.actualSize() % 2 == 1);
}

// Calls in a static object's destructor, after everything created later has been destroyed.
bool allWorksAtTheEnd() {
  OXReleaseScope scope;
  OXReleaseScope::current().defer(std::make_shared<OXObject>());
  OXFormatInfo format;
  format.setName("Zip");
  return archiveExtension("a.tar.gz") == "tar.gz" && OXAppSupportDir() && OXUserCodecsPath() &&
         OXRARCodecPath() == *OXUserCodecsPath() + "/rar/rar" &&
         fileDateDescription(OXDate())->size() > 10 && fileDescription("a.zip") &&
         OXGenerateMD5DigestForFile("/proc/self/stat") && OXGetFileSize("/missing") == 0 &&
         format.name() == "Zip" && encodesAndDecodes() && OXScopedTempDir().path();
}

void removeSupportFolders() {
  ::rmdir(OXUserCodecsPath()->c_str());
  ::rmdir(OXAppSupportDir()->c_str());
}

void exitByTheAnswer() {
  const bool works = allWorksAtTheEnd();
  removeSupportFolders();
  ::_exit(works ? 7 : 8);
}

class AtTheEndDeathTest : public ox::test::TemporaryFolderTest {};

TEST_F(AtTheEndDeathTest, AllWorksForTheFirstTime) {
  EXPECT_EXIT(
      {
        std::atexit(exitByTheAnswer);
        std::exit(0);
      },
      testing::ExitedWithCode(7), "");
}

TEST_F(AtTheEndDeathTest, AllWorksAgain) {
  EXPECT_EXIT(
      {
        std::atexit(exitByTheAnswer);
        static_cast<void>(allWorksAtTheEnd());
        std::exit(0);
      },
      testing::ExitedWithCode(7), "");
}

}  // namespace

// SPDX-License-Identifier: MIT

// The functions' stack use, since workers run them in threads with little stack. Each runs on a
// stack filled with a pattern, which shows how deep it got.

#include <OrvexKit/OrvexKit.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "support/Pipe.h"
#include "support/Sanitizers.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

// On some processors, threads need at least half of this.
constexpr std::size_t stackSize = std::size_t{256} * 1024;
constexpr std::size_t mostNeeded = std::size_t{40} * 1024;
constexpr std::byte pattern{0xA5};

using Function = std::function<void()>;

void* runFunction(void* function) {
  (*static_cast<const Function*>(function))();
  return nullptr;
}

// The bytes from the top of the stack to the deepest one written.
std::size_t stackUsedBy(const Function& function) {
  void* const memory = ::mmap(nullptr, stackSize, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  EXPECT_NE(memory, MAP_FAILED);
  auto* const bytes = static_cast<std::byte*>(memory);
  std::fill(bytes, bytes + stackSize, pattern);
  pthread_attr_t attributes;
  pthread_t thread;
  EXPECT_EQ(::pthread_attr_init(&attributes), 0);
  EXPECT_EQ(::pthread_attr_setstack(&attributes, memory, stackSize), 0);
  EXPECT_EQ(::pthread_create(&thread, &attributes, runFunction, const_cast<Function*>(&function)),
            0);
  EXPECT_EQ(::pthread_join(thread, nullptr), 0);
  ::pthread_attr_destroy(&attributes);
  const std::byte* const deepest =
      std::find_if(bytes, bytes + stackSize, [](std::byte byte) { return byte != pattern; });
  const auto used = static_cast<std::size_t>(bytes + stackSize - deepest);
  ::munmap(memory, stackSize);
  return used;
}

class Stack : public ox::test::TemporaryFolderTest {};

void sendAndReceive(OXCBORMode mode) {
  const ox::test::Pipe pipe;
  OXArchivedFile file;
  file.setPath("docs");
  OXCBOREncoder encoder(mode);
  file.encodeWithCoder(encoder);
  OXCBORSequenceWriter writer(pipe.writing());
  EXPECT_TRUE(writer.write(encoder.item()) && writer.flush());
  OXCBORSequenceReader reader(pipe.reading());
  const auto item = reader.next();
  ASSERT_TRUE(item);
  EXPECT_NE(OXCBORDecodeRecord<OXArchivedFile>(*item, mode), nullptr);
}

void walkDeepTree() {
  auto top = std::make_shared<OXDeltaNode>();
  for (int i = 0; i < 1000; ++i) {
    auto above = std::make_shared<OXDeltaNode>();
    above->addChild(std::move(top));
    top = std::move(above);
  }
  top->traversePathsUsingBlock([](std::string_view, std::string_view, bool) {});
}

TEST_F(Stack, IsEnoughWith40KiB) {
  if (ox::test::hasAddressSanitizer || ox::test::hasThreadSanitizer) {
    GTEST_SKIP() << "sanitizers add padding between variables";
  }
  const ox::test::ScopedEnvironment data("XDG_DATA_HOME", in("data"));
  const std::string longName(5000, 'n');
  fs::create_directory(in("full"));
  for (int i = 0; i < 40; ++i) {
    ox::test::writeFile(in("full/x" + (i == 0 ? "" : " (" + std::to_string(i) + ")")));
  }
  const auto makeDeepFolder = [](const std::string& top) {
    std::string path = top;
    for (int i = 0; i < 40; ++i) {
      path += "/deeper";
      fs::create_directory(path);
    }
    ox::test::writeFile(path + "/file");
    ::chmod((top + "/deeper/deeper").c_str(), 0);
  };
  fs::create_directory(in("deep"));
  makeDeepFolder(in("deep"));
  OXScopedTempDir* scratch = nullptr;
  OXFileReference reference;
  const std::pair<const char*, Function> rows[] = {
      {"nothing", [] {}},
      {"archiveExtension", [] { OXFileUtilAdditions::archiveExtension("a.tar.gz"); }},
      {"stringByDeletingArchiveExtension",
       [] { OXFileUtilAdditions::stringByDeletingArchiveExtension("a.tar.gz"); }},
      {"OXGetFirstArchiveVolumePath",
       [this] { OXGetFirstArchiveVolumePath(in("movie.part2.rar")); }},
      {"OXPathByRemovingAncestorPath", [] { OXPathByRemovingAncestorPath("/a/b", "/a"); }},
      {"canonicalPath", [this] { OXFileUtilAdditions::canonicalPath(work() + "/./deep/.."); }},
      {"OXCreateTemporaryDirectoryInDir",
       [this] { fs::remove(OXCreateTemporaryDirectoryInDir(work()).value()); }},
      {"OXCreateTemporaryDirectoryInDir, missing",
       [this] { OXCreateTemporaryDirectoryInDir(in("missing")); }},
      {"OXCreateTemporaryDirectory", [] { fs::remove(OXCreateTemporaryDirectory().value()); }},
      {"OXCreateUniqueTempDir", [] { fs::remove(OXCreateUniqueTempDir().value()); }},
      {"OXScopedTempDir", [&] { scratch = new OXScopedTempDir; }},
      {"nothing, and a folder to remove", [&] { makeDeepFolder(scratch->path().value()); }},
      {"~OXScopedTempDir", [&] { delete scratch; }},
      {"OXSequentiallyUniqueName", [this] { OXSequentiallyUniqueName("x", in("full"), false); }},
      {"OXSafelyCreateArchiveSubdir",
       [this] { fs::remove(*OXSafelyCreateArchiveSubdir("x.app.app", in("full"), false)); }},
      {"OXSafelyCreateArchiveSubdir, a long name",
       [&] { OXSafelyCreateArchiveSubdir(longName + ".app", work() + "/new/folder", false); }},
      {"OXAppSupportDir", [] { OXAppSupportDir(); }},
      {"OXUserCodecsPath", [] { OXUserCodecsPath(); }},
      {"OXRARCodecPath", [] { OXRARCodecPath(); }},
      {"OXGetTotalFolderSize", [this] { OXGetTotalFolderSize(work()); }},
      {"OXGetFileSize", [this] { OXGetFileSize(in("deep")); }},
      {"OXGetFileSize, missing", [this] { OXGetFileSize(in("missing")); }},
      {"OXGenerateMD5DigestForFile", [this] { OXGenerateMD5DigestForFile(in("full/x")); }},
      {"OXHumanReadableFileSize", [] { OXHumanReadableFileSize(1250); }},
      {"fileDateDescription", [] { OXFileUtilAdditions::fileDateDescription(OXDate()); }},
      {"fileDescription", [] { OXFileUtilAdditions::fileDescription("x.zip"); }},
      {"OXReferenceFromPath", [&] { OXReferenceFromPath(reference, in("full/x")); }},
      {"OXMoveFileToTrashSync", [this] { OXMoveFileToTrashSync(in("full/x")); }},
      {"coding, keyed", [] { sendAndReceive(OXCBORMode::keyed); }},
      {"coding, sequential", [] { sendAndReceive(OXCBORMode::sequential); }},
      {"a deep tree", walkDeepTree},
  };
  for (const auto& [name, function] : rows) {
    const std::size_t used = stackUsedBy(function);
    EXPECT_LE(used, mostNeeded) << name;
    RecordProperty(name, std::to_string(used));
  }
  ox::test::removeTree(in("full"));
  ::chmod(in("deep/deeper/deeper").c_str(), 0700);
  ox::test::removeTree(in("deep"));
  ox::test::removeTree(in("new"));
  ox::test::removeTree(in("data"));
}

}  // namespace

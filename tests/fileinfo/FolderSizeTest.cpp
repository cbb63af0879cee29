// SPDX-License-Identifier: MIT

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <string_view>

#include "OrvexKit/OXFileUtil.h"
#include "support/AllocationCount.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ObservedSystem.h"
#include "support/ProcessState.h"
#include "support/TemporaryFolder.h"

namespace {

using ox::test::Call;
using ox::test::ObservedSystem;
using ox::test::openDescriptorCount;
using ox::test::removeOne;

// The rule implemented literally: recursion with paths in a buffer of 1024 bytes. Skips a path that
// is truncated to its folder's own, which would recurse for ever.
std::int64_t plainTotal(const char* bytePath) {
  DIR* const folder = ::opendir(bytePath);
  if (folder == nullptr) {
    return 0;
  }
  std::int64_t total = 0;
  while (const dirent* const entry = ::readdir(folder)) {
    const std::string_view name(static_cast<const char*>(entry->d_name));
    if (name == "." || name == "..") {
      continue;
    }
    std::array<char, 1024> child{};
    const int written = std::snprintf(child.data(), child.size(), "%s/%s", bytePath, name.data());
    EXPECT_GT(written, 0);
    struct stat status {};
    if (std::strcmp(child.data(), bytePath) == 0 || ::lstat(child.data(), &status) != 0) {
      continue;
    }
    total += S_ISDIR(status.st_mode) ? plainTotal(child.data()) : status.st_size;
  }
  ::closedir(folder);
  return total;
}

std::int64_t plainTotal(const std::string& path) {
  return plainTotal(path.c_str());
}

std::string bytes(std::size_t count) {
  std::string text;
  text.resize(count, 'x');
  return text;
}

class FolderSize : public ox::test::TemporaryFolderTest {
 protected:
  void TearDown() override {
    ox::test::removeTree(work());
    ASSERT_EQ(::mkdir(work().c_str(), 0700), 0);
    TemporaryFolderTest::TearDown();
  }

  static void makeFolder(const std::string& path) {
    ASSERT_EQ(::mkdir(path.c_str(), 0700), 0) << path;
  }

  // Makes a folder whose path has exactly `length` bytes.
  std::string makeFolderOfLength(std::size_t length) {
    std::string path = work();
    while (path.size() < length) {
      const std::size_t left = length - path.size() - 1;
      path += '/' + std::string(left <= 200 ? left : std::min<std::size_t>(198, left - 2), 'd');
      if (!ox::test::isFolder(path)) {
        makeFolder(path);
      }
    }
    EXPECT_EQ(path.size(), length);
    return path;
  }
};

TEST_F(FolderSize, AddsWhatIsInTheFolderAndBelow) {
  ox::test::writeFile(in("ten"), bytes(10));
  ox::test::writeFile(in("twenty"), bytes(20));
  makeFolder(in("sub"));
  ox::test::writeFile(in("sub/five"), bytes(5));
  EXPECT_EQ(OXGetTotalFolderSize(work()), 35);
  EXPECT_EQ(_OXGetTotalFolderSize(work().c_str()), 35);
}

TEST_F(FolderSize, IsZeroForWhatIsNoFolder) {
  ox::test::writeFile(in("file"), "contents");
  ASSERT_EQ(::symlink("file", in("link").c_str()), 0);
  ASSERT_EQ(::symlink("missing", in("nowhere").c_str()), 0);
  ASSERT_EQ(::mkfifo(in("fifo").c_str(), 0600), 0);
  static_cast<void>(ox::test::takeLogLines());
  for (const char* name : {"file", "file/", "link", "nowhere", "fifo", "missing", "file/x"}) {
    EXPECT_EQ(OXGetTotalFolderSize(in(name)), 0) << name;
    EXPECT_EQ(_OXGetTotalFolderSize(in(name).c_str()), 0) << name;
  }
  EXPECT_EQ(OXGetTotalFolderSize(std::nullopt), 0);
  EXPECT_EQ(OXGetTotalFolderSize(""), 0);
  EXPECT_EQ(OXGetTotalFolderSize(work() + std::string("\0", 1)), 0);
  EXPECT_EQ(OXGetTotalFolderSize(std::string(5000, '/')), 0);
  EXPECT_EQ(_OXGetTotalFolderSize(nullptr), 0);
  EXPECT_EQ(_OXGetTotalFolderSize(""), 0);
  EXPECT_EQ(_OXGetTotalFolderSize(std::string(5000, '/').c_str()), 0);
  EXPECT_TRUE(ox::test::takeLogLines().empty());
}

TEST_F(FolderSize, FollowsNoLinkBelowTheTop) {
  ox::test::writeFile(in("large"), bytes(100000));
  makeFolder(in("folder"));
  ASSERT_EQ(::symlink("../large", in("folder/to-file").c_str()), 0);
  ASSERT_EQ(::symlink("..", in("folder/to-folder").c_str()), 0);
  ASSERT_EQ(::symlink("itself", in("folder/itself").c_str()), 0);
  ASSERT_EQ(::symlink("missing", in("folder/nowhere").c_str()), 0);
  EXPECT_EQ(OXGetTotalFolderSize(in("folder")), 8 + 2 + 6 + 7);
  ASSERT_EQ(::symlink("folder", in("top").c_str()), 0);
  EXPECT_EQ(OXGetTotalFolderSize(in("top")), 8 + 2 + 6 + 7);
}

TEST_F(FolderSize, TakesThePathHoweverItIsWritten) {
  makeFolder(in("folder"));
  ox::test::writeFile(in("folder/file"), bytes(7));
  for (const char* path : {"folder", "folder/", "folder//", "folder/.", "folder/../folder"}) {
    EXPECT_EQ(OXGetTotalFolderSize(in(path)), 7) << path;
  }
  const std::string before = std::filesystem::current_path();
  ASSERT_EQ(::chdir(work().c_str()), 0);
  EXPECT_EQ(OXGetTotalFolderSize("folder"), 7);
  EXPECT_EQ(OXGetTotalFolderSize("."), 7);
  ASSERT_EQ(::chdir(before.c_str()), 0);
}

TEST_F(FolderSize, CountsAFileOnceForEachName) {
  ox::test::writeFile(in("a"), bytes(100));
  makeFolder(in("sub"));
  ASSERT_EQ(::link(in("a").c_str(), in("b").c_str()), 0);
  ASSERT_EQ(::link(in("a").c_str(), in("sub/c").c_str()), 0);
  EXPECT_EQ(OXGetTotalFolderSize(work()), 300);
}

TEST_F(FolderSize, PassesOverFoldersThatCannotBeRead) {
  OX_SKIP_AS_ROOT();
  for (const auto& [name, mode] :
       {std::pair{"none", 0000}, {"unreadable", 0300}, {"closed", 0600}}) {
    makeFolder(in(name));
    ox::test::writeFile(in(name) + "/file", bytes(10));
    makeFolder(in(name) + "/sub");
    ox::test::writeFile(in(name) + "/sub/file", bytes(10));
    ASSERT_EQ(::chmod(in(name).c_str(), static_cast<mode_t>(mode)), 0);
  }
  ox::test::writeFile(in("file"), bytes(3));
  EXPECT_EQ(OXGetTotalFolderSize(work()), 3);
  EXPECT_EQ(OXGetTotalFolderSize(work()), plainTotal(work()));
  EXPECT_EQ(OXGetTotalFolderSize(in("none")), 0);
  for (const char* name : {"none", "unreadable", "closed"}) {
    ASSERT_EQ(::chmod(in(name).c_str(), 0700), 0);
  }
}

// Two files with nearly the largest possible size, if the file system allows it.
bool makeHugeFiles(const std::string& folder) {
  const auto makeHuge = [](const std::string& path) {
    ox::test::writeFile(path);
    return ::truncate(path.c_str(), std::numeric_limits<off_t>::max() - 4096) == 0;
  };
  return makeHuge(folder + "/a") && makeHuge(folder + "/b");
}

TEST_F(FolderSize, IsTheLargestValueWhenThereIsMore) {
  constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
  if (makeHugeFiles(work())) {
    EXPECT_EQ(OXGetTotalFolderSize(work()), largest);
    return;
  }
  // A file system in memory has no such limit.
  std::string folder = "/dev/shm/orvexkit-test.XXXXXX";
  const bool isMade = ::mkdtemp(folder.data()) != nullptr && makeHugeFiles(folder);
  const std::int64_t total = isMade ? OXGetTotalFolderSize(folder) : 0;
  ox::test::removeTree(folder);
  if (!isMade) {
    GTEST_SKIP() << "no file system accepts files of this size";
  }
  EXPECT_EQ(total, largest);
}

// A tree with every kind of item, and its expected size.
class RandomTree {
 public:
  explicit RandomTree(unsigned seed) : random_(seed) {}

  void fill(const std::string& folder, int depth) {
    const unsigned count = below(12);
    for (unsigned i = 0; i < count; ++i) {
      const std::string path = folder + "/" + std::to_string(i) + std::string(below(40), 'n');
      if (depth > 0 && below(3) == 0) {
        ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
        fill(path, depth - 1);
      } else {
        make(path);
        lastItem_ = path;
      }
    }
  }

  std::int64_t total() const { return total_; }

 private:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }

  void make(const std::string& path) {
    switch (below(8)) {
      case 0:
        ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
        break;
      case 1:
        makeSocket(path);
        break;
      case 2:
        makeLink(path, path);  // to itself
        break;
      case 3:
        makeLink("/", path);
        break;
      case 4:
        if (!lastItem_.empty() && ::link(lastItem_.c_str(), path.c_str()) == 0) {
          addSizeOf(path);
          break;
        }
        [[fallthrough]];
      case 5:
        if (ox::test::isRoot()) {
          ASSERT_EQ(::mknod(path.c_str(), S_IFCHR | 0600, ::makedev(1, 3)), 0);
          break;
        }
        [[fallthrough]];
      default:
        const unsigned size = below(10000);
        ox::test::writeFile(path, bytes(size));
        total_ += size;
    }
  }

  void makeLink(const std::string& target, const std::string& path) {
    ASSERT_EQ(::symlink(target.c_str(), path.c_str()), 0);
    total_ += static_cast<std::int64_t>(target.size());
  }

  static void makeSocket(const std::string& path) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (path.size() >= sizeof address.sun_path) {
      return;
    }
    path.copy(static_cast<char*>(address.sun_path), path.size());
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(socket);
  }

  void addSizeOf(const std::string& path) {
    struct stat status {};
    ASSERT_EQ(::lstat(path.c_str(), &status), 0);
    total_ += status.st_size;
  }

  std::mt19937 random_;
  std::int64_t total_ = 0;
  std::string lastItem_;
};

TEST_F(FolderSize, IsTheSumOfTreesOfEveryKindOfItem) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE(seed);
    const std::string top = in(std::to_string(seed));
    makeFolder(top);
    RandomTree tree(seed);
    tree.fill(top, 5);
    EXPECT_EQ(OXGetTotalFolderSize(top), tree.total());
    EXPECT_EQ(OXGetTotalFolderSize(top), plainTotal(top));
    ObservedSystem observed;
    observed.hideEntryTypes();
    EXPECT_EQ(OXGetTotalFolderSize(top), tree.total());
  }
}

// find fails as a whole if it cannot read a folder.
std::int64_t totalByFind(const std::string& folder) {
  std::istringstream sizes(
      ox::test::run(
          {.program = "find", .arguments = {folder, "!", "-type", "d", "-printf", "%s\n"}})
          .output);
  std::int64_t total = 0;
  for (std::int64_t size = 0; sizes >> size;) {
    total += size;
  }
  return total;
}

TEST_F(FolderSize, AgreesWithFindOnUsr) {
  std::int64_t size = 0;
  std::int64_t totalBefore = 0;
  std::int64_t total = totalByFind("/usr");
  // Another program may install something meanwhile.
  for (int attempts = 0; attempts < 5 && total != totalBefore; ++attempts) {
    totalBefore = total;
    size = OXGetTotalFolderSize("/usr");
    total = totalByFind("/usr");
  }
  EXPECT_GT(total, 0);
  EXPECT_EQ(size, total);
}

// Names whose prefixes are names of other items: files and non-empty folders.
void fillWithNamesToCut(const std::string& folder) {
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  const auto write = [fd](const std::string& name, std::size_t size) {
    const int file = ::openat(fd, name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0) << name;
    ASSERT_EQ(::ftruncate(file, static_cast<off_t>(size)), 0);
    ::close(file);
  };
  for (std::size_t length = 1; length <= 40; ++length) {
    write(std::string(length, 'f'), length);
    const std::string name(length, 'g');
    ASSERT_EQ(::mkdirat(fd, name.c_str(), 0700), 0);
    write(name + "/" + std::string(length % 7 + 1, 'h'), 1000 * length);
    ASSERT_EQ(::symlinkat("target", fd, std::string(length, 'l').c_str()), 0);
  }
  // Truncated to "." and "..", and to a missing item.
  write("..dots", 100000);
  write(".hidden", 100000);
  write("missing-when-cut", 100000);
  ASSERT_EQ(::mkdirat(fd, "..folder", 0700), 0);
  write("..folder/file", 100000);
  ::close(fd);
}

TEST_F(FolderSize, CutsPathsAsABufferOf1024BytesDoes) {
  for (const std::size_t length :
       {985U, 1000U, 1010U, 1016U, 1018U, 1019U, 1020U, 1021U, 1022U, 1023U, 1024U, 1030U}) {
    SCOPED_TRACE(length);
    const std::string folder = makeFolderOfLength(length);
    fillWithNamesToCut(folder);
    const std::int64_t total = OXGetTotalFolderSize(folder);
    EXPECT_EQ(total, plainTotal(folder));
    EXPECT_EQ(total == 0, length >= 1022) << total;
    EXPECT_EQ(OXGetTotalFolderSize(folder + "/"), plainTotal(folder + "/"));
    EXPECT_EQ(OXGetTotalFolderSize(work()), plainTotal(work()));
    ox::test::removeTree(work());
    makeFolder(work());
  }
}

TEST_F(FolderSize, CutsPathsBelowATopThatIsLongerThanTheBuffer) {
  // The path is truncated within a name, after a name or after a slash; the result is missing, a
  // folder, a file or a link.
  const std::string folder = makeFolderOfLength(1000);
  const std::string deep = folder + "/" + std::string(21, 'x');
  makeFolder(deep);  // 1022 bytes
  makeFolder(deep + "yz");
  makeFolder(deep + "/z");
  for (const std::string& top : {deep + "yz", deep + "/z"}) {
    for (const char* name : {"/1", "/2", "/3"}) {
      ox::test::writeFile(top + name, bytes(9));
    }
    EXPECT_EQ(OXGetTotalFolderSize(top), plainTotal(top)) << top;
  }
  const std::string cut = deep + "y";
  ASSERT_EQ(cut.size(), 1023U);
  EXPECT_EQ(OXGetTotalFolderSize(deep + "yz"), 0) << "nothing exists at the truncated path";
  ox::test::writeFile(cut, bytes(50));
  EXPECT_EQ(OXGetTotalFolderSize(deep + "yz"), 150) << "the three paths are truncated to the file";
  removeOne(cut);
  ASSERT_EQ(::symlink("target", cut.c_str()), 0);
  EXPECT_EQ(OXGetTotalFolderSize(deep + "yz"), 18) << "the three paths are truncated to the link";
  EXPECT_EQ(OXGetTotalFolderSize(deep + "yz"), plainTotal(deep + "yz"));
  removeOne(cut);
  makeFolder(cut);
  ox::test::writeFile(cut + "/file", bytes(1000));
  EXPECT_EQ(OXGetTotalFolderSize(deep + "yz"), 0) << "the three paths are truncated to the folder";
  EXPECT_EQ(OXGetTotalFolderSize(deep + "yz"), plainTotal(deep + "yz"));
}

// Nested folders with one-letter names, with a file in each that may count. Made with descriptors,
// since the deepest paths are too long for system calls.
void makeChain(const std::string& top, int depth) {
  constexpr int deepestCounted = 512;
  int folder = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int i = 0; i < depth; ++i) {
    ASSERT_EQ(::mkdirat(folder, "d", 0700), 0);
    const int inner = ::openat(folder, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (i <= deepestCounted) {
      const int file = ::openat(inner, "f", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
      ASSERT_EQ(::write(file, "0123456789", 10), 10);
      ::close(file);
    }
    ::close(folder);
    folder = inner;
  }
  ::close(folder);
}

TEST_F(FolderSize, TakesFewDescriptorsHoweverDeepTheTreeIs) {
  makeChain(work(), 450);
  const std::int64_t total = OXGetTotalFolderSize(work());
  EXPECT_GE(total, 4400);
  EXPECT_EQ(total, plainTotal(work()));
  for (const std::size_t free : {32U, 17U}) {
    const ox::test::DescriptorLimit limit(free);
    EXPECT_EQ(OXGetTotalFolderSize(work()), total) << free;
  }
}

TEST_F(FolderSize, EndsInATreeDeeperThanAnyPath) {
  makeChain(work(), 2100);
  const std::size_t before = openDescriptorCount();
  const std::int64_t total = OXGetTotalFolderSize(work());
  EXPECT_EQ(total, plainTotal(work()));
  // Each "/d" takes two bytes; the last folder whose file counts ends at byte 1021.
  EXPECT_EQ(total, 10 * static_cast<std::int64_t>((1021 - work().size()) / 2));
  EXPECT_EQ(openDescriptorCount(), before);
}

TEST_F(FolderSize, AsksForSizesAloneWhereTheFolderTellsTheKind) {
  for (const char* folder : {"a", "a/b", "a/c"}) {
    makeFolder(in(folder));
  }
  for (const char* file : {"1", "2", "a/3", "a/b/4"}) {
    ox::test::writeFile(in(file), bytes(1));
  }
  ObservedSystem observed;
  EXPECT_EQ(OXGetTotalFolderSize(work()), 4);
  EXPECT_EQ(observed.count(Call::openat), 4);
  EXPECT_EQ(observed.count(Call::close), 4);
  EXPECT_EQ(observed.count(Call::fstatat), 4);
  EXPECT_EQ(observed.count(Call::getdents), 8);
  EXPECT_EQ(observed.count(), 16);
}

TEST_F(FolderSize, TakesItemsForWhatTheyAreWhenTheyAreReached) {
  makeFolder(in("folder"));
  ox::test::writeFile(in("folder/file"), bytes(100));
  ox::test::writeFile(in("elsewhere"), bytes(1000));
  const auto replaceBy = [this](auto make) {
    ox::test::removeOne(in("folder/file"));
    ox::test::removeOne(in("folder"));
    make();
  };
  {
    ObservedSystem observed;
    observed.before(Call::openat, [&] {
      replaceBy([&] { ASSERT_EQ(::symlink("/usr", in("folder").c_str()), 0); });
    });
    EXPECT_EQ(OXGetTotalFolderSize(work()), 1004) << "the link itself";
  }
  removeOne(in("folder"));
  makeFolder(in("folder"));
  ox::test::writeFile(in("folder/file"), bytes(100));
  {
    ObservedSystem observed;
    observed.before(Call::openat, [&] { replaceBy([] {}); });
    EXPECT_EQ(OXGetTotalFolderSize(work()), 1000);
  }
  makeFolder(in("vanishing"));
  ox::test::writeFile(in("vanishing/file"), bytes(100));
  ObservedSystem observed;
  observed.before(Call::fstatat, [&] { ::unlink(in("vanishing/file").c_str()); });
  EXPECT_EQ(OXGetTotalFolderSize(work()), 1000);
}

TEST_F(FolderSize, CountsWhatTookTheFurtherPlaceOfAFolder) {
  const std::string place = in("a/b/folder");
  makeFolder(in("a"));
  makeFolder(in("a/b"));
  makeFolder(place);
  ObservedSystem observed;
  observed.before(Call::openat, [&] {
    if (ox::test::isFolder(place) && observed.count(Call::openat) == 2) {
      removeOne(place);
      ox::test::writeFile(place, bytes(1000));
    }
  });
  EXPECT_EQ(OXGetTotalFolderSize(work()), 1000);
}

TEST_F(FolderSize, LeavesOutWhatTheSystemRefuses) {
  makeFolder(in("a"));
  makeFolder(in("a/b"));
  ox::test::writeFile(in("1"), bytes(1));
  ox::test::writeFile(in("a/10"), bytes(10));
  ox::test::writeFile(in("a/b/100"), bytes(100));
  ASSERT_EQ(OXGetTotalFolderSize(work()), 111);
  const std::size_t descriptors = openDescriptorCount();
  for (const int error : {EACCES, ENOSPC, EMFILE, ENOMEM, EIO}) {
    SCOPED_TRACE(std::strerror(error));
    const auto totalFailing = [error, this](Call call, int nth) {
      ObservedSystem observed;
      observed.fail(call, error, nth);
      return OXGetTotalFolderSize(work());
    };
    EXPECT_EQ(totalFailing(Call::openat, 1), 0);
    EXPECT_EQ(totalFailing(Call::openat, 2), 1);
    EXPECT_EQ(totalFailing(Call::openat, 3), 11);
    EXPECT_EQ(totalFailing(Call::fstatat, 1), 110);
    EXPECT_EQ(totalFailing(Call::fstatat, 2), 101);
    EXPECT_EQ(totalFailing(Call::fstatat, 3), 11);
    EXPECT_EQ(totalFailing(Call::getdents, 1), 0);
    EXPECT_EQ(totalFailing(Call::getdents, 3), 1);
    EXPECT_EQ(totalFailing(Call::getdents, 5), 11);
    // Items listed before the failure count.
    EXPECT_EQ(totalFailing(Call::getdents, 2), 111);
  }
  EXPECT_EQ(openDescriptorCount(), descriptors);
}

TEST_F(FolderSize, IsWholeThoughSignalsInterruptEachCall) {
  makeFolder(in("a"));
  makeFolder(in("a/b"));
  for (const char* file : {"1", "a/10", "a/b/100"}) {
    ox::test::writeFile(in(file), bytes(std::stoul(in(file).substr(in(file).rfind('/') + 1))));
  }
  ObservedSystem observed;
  for (const int times : {1, 2, 50}) {
    observed.interruptEach(times);
    EXPECT_EQ(OXGetTotalFolderSize(work()), 111) << times;
  }
}

TEST_F(FolderSize, LeavesNothingOpenWhenMemoryRunsOut) {
  std::string folder = work();
  for (int i = 0; i < 20; ++i) {
    folder += "/a-name-of-some-length";
    makeFolder(folder);
  }
  const std::size_t descriptors = openDescriptorCount();
  for (std::size_t allowed = 0; allowed < 4; ++allowed) {
    const ox::test::AllocationFailure failure(allowed);
    EXPECT_THROW(OXGetTotalFolderSize(work()), std::bad_alloc);
  }
  EXPECT_EQ(openDescriptorCount(), descriptors);
}

TEST_F(FolderSize, TakesNothingFromTheHeapInAFlatFolder) {
  for (int i = 0; i < 100; ++i) {
    ox::test::writeFile(in(std::to_string(i)), bytes(1));
  }
  const ox::test::AllocationCount allocations;
  EXPECT_EQ(_OXGetTotalFolderSize(work().c_str()), 100);
  EXPECT_EQ(allocations.count(), 0U);
}

}  // namespace

// SPDX-License-Identifier: MIT

// Facts about items on disk, and the time to load the library.
//
// A peer that is a program is compared with a program of ours that does the same, so both include
// process startup. Peers written here run in this process. All input is in the page cache.

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <glib.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Comparison.h"
#include "OrvexKit/OXFileUtil.h"
#include "ProgramRun.h"
#include "TemporaryWorld.h"

namespace {

using namespace ox;
namespace fs = std::filesystem;

// Programs ------------------------------------------------------------------------------------

// The processor time of a program whose output starts with `expected`.
void measureProgram(benchmark::State& state, const std::vector<std::string>& arguments,
                    const std::string& expected) {
  for (auto iteration : state) {
    static_cast<void>(iteration);
    const bench::ProgramRun run = bench::runProgram(arguments);
    if (!run.hasSucceeded || !run.output.starts_with(expected)) {
      state.SkipWithError("another output");
      return;
    }
    state.SetIterationTime(run.processorTime);
  }
}

// The size of a folder ------------------------------------------------------------------------

// 150,000 entries: folders, fifteen to a folder, with as many files each.
template <int filesPerFolder>
class FileTree {
 public:
  FileTree() {
    constexpr int folders = 150'000 / (1 + filesPerFolder);
    std::vector<fs::path> made{world_.folder()};
    for (int number = 1; number <= folders; ++number) {
      const fs::path& parent = made[static_cast<std::size_t>((number - 1) / 15)];
      made.push_back(parent / ("folder_" + std::to_string(number)));
      fs::create_directory(made.back());
      addFiles(made.back());
    }
    for (const fs::path& folder : made) {
      struct stat status {};
      ::lstat(folder.c_str(), &status);
      sizeOfFolders_ += status.st_size;
    }
  }

  static const FileTree& get() {
    static const FileTree tree;
    return tree;
  }

  const fs::path& path() const { return world_.folder(); }
  std::int64_t sizeOfFiles() const { return sizeOfFiles_; }
  std::int64_t sizeOfAll() const { return sizeOfFiles_ + sizeOfFolders_; }

 private:
  void addFiles(const fs::path& folder) {
    for (int file = 0; file < filesPerFolder; ++file) {
      const fs::path path = folder / ("source_file_" + std::to_string(file) + ".cpp");
      const std::int64_t size = 100 + (sizeOfFiles_ + file) % 5'000;
      std::ofstream(path).close();
      fs::resize_file(path, static_cast<std::uintmax_t>(size));
      sizeOfFiles_ += size;
    }
  }

  bench::TemporaryWorld world_;
  std::int64_t sizeOfFiles_ = 0;
  std::int64_t sizeOfFolders_ = 0;
};

// Like folders of source code, and like folders of photographs.
using SmallFolders = FileTree<14>;
using LargeFolders = FileTree<99>;

std::int64_t sizeByIterator(const fs::path& folder) {
  std::uintmax_t total = 0;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_directory()) {
      total += entry.file_size();
    }
  }
  return static_cast<std::int64_t>(total);
}

// Only the necessary system calls, without limits and error handling. Closes `fd`. Keeps one buffer
// per level, so that folders need no allocation.
std::int64_t sizeByBareCalls(int fd, std::size_t level = 0) {
  using Buffer = std::array<char, 32768>;
  static std::vector<std::unique_ptr<Buffer>> buffers;
  if (buffers.size() == level) {
    buffers.push_back(std::make_unique<Buffer>());
  }
  char* const buffer = buffers[level]->data();
  std::int64_t total = 0;
  for (ssize_t count = 0; (count = ::getdents64(fd, buffer, sizeof(Buffer))) > 0;) {
    for (ssize_t position = 0; position < count;) {
      const auto* const entry = reinterpret_cast<const ::dirent64*>(buffer + position);
      position += entry->d_reclen;
      const char* const name = static_cast<const char*>(entry->d_name);
      if (entry->d_type != DT_DIR) {
        struct statx status;
        ::statx(fd, name, AT_SYMLINK_NOFOLLOW, STATX_SIZE, &status);
        total += static_cast<std::int64_t>(status.stx_size);
      } else if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) {
        total += sizeByBareCalls(::openat(fd, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC), level + 1);
      }
    }
  }
  ::close(fd);
  return total;
}

std::int64_t sizeByRule(const fs::path& folder) {
  return OXGetTotalFolderSize(folder.native());
}

std::int64_t sizeByBareCallsAt(const fs::path& folder) {
  return sizeByBareCalls(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

template <typename Tree, auto sizeOf>
void folderSize(benchmark::State& state) {
  const Tree& tree = Tree::get();
  if (sizeOf(tree.path()) != tree.sizeOfFiles()) {
    state.SkipWithError("another size");
    return;
  }
  for (auto iteration : state) {
    static_cast<void>(iteration);
    benchmark::DoNotOptimize(sizeOf(tree.path()));
  }
}

template <typename Tree, auto sizeOf, int wantedPerMille>
void folderSizeByPeer(benchmark::State& state) {
  folderSize<Tree, sizeOf>(state);
  bench::wantTimesAsFast(state, wantedPerMille / 1000.0);
}

template <typename Tree>
void folderSizeProgram(benchmark::State& state) {
  const Tree& tree = Tree::get();
  measureProgram(state, {ORVEXKIT_PRINT_FACT, "folder-size", tree.path()},
                 std::to_string(tree.sizeOfFiles()) + '\n');
}

// du also counts the folders themselves.
template <typename Tree>
void folderSizeByDu(benchmark::State& state) {
  const Tree& tree = Tree::get();
  measureProgram(state, {"du", "-sb", tree.path()}, std::to_string(tree.sizeOfAll()) + '\t');
  bench::wantTimesAsFast(state, 1.2);
}

// The digest of a file ------------------------------------------------------------------------

constexpr std::size_t digestedBytes = std::size_t{512} << 20;

std::string digestByLibcrypto(std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  if (::EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, ::EVP_md5(), nullptr) != 1) {
    return {};
  }
  std::string text;
  for (const unsigned char byte : std::basic_string_view(digest.data(), size)) {
    constexpr std::string_view digits = "0123456789abcdef";
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

// A file of random bytes, and the same bytes in memory.
class LargeFile {
 public:
  LargeFile() {
    std::mt19937_64 random(1);
    bytes_.resize(digestedBytes);
    for (std::size_t i = 0; i < bytes_.size(); i += sizeof(std::uint64_t)) {
      const std::uint64_t word = random();
      std::memcpy(&bytes_[i], &word, sizeof word);
    }
    std::ofstream(path_, std::ios::binary) << bytes_;
    digest_ = digestByLibcrypto(bytes_);
  }

  const fs::path& path() const { return path_; }
  const std::string& bytes() const { return bytes_; }
  const std::string& digest() const { return digest_; }

 private:
  bench::TemporaryWorld world_;
  fs::path path_ = world_.folder() / "large";
  std::string bytes_;
  std::string digest_;
};

const LargeFile& largeFile() {
  static const LargeFile file;
  return file;
}

void digest(benchmark::State& state) {
  const LargeFile& file = largeFile();
  for (auto iteration : state) {
    static_cast<void>(iteration);
    if (OXGenerateMD5DigestForFile(file.path().native()) != file.digest()) {
      state.SkipWithError("another digest");
      return;
    }
  }
}

void digestOfMemory(benchmark::State& state) {
  const LargeFile& file = largeFile();
  for (auto iteration : state) {
    static_cast<void>(iteration);
    benchmark::DoNotOptimize(digestByLibcrypto(file.bytes()));
  }
  bench::wantTimesAsFast(state, 1 / 1.12);
}

void digestProgram(benchmark::State& state) {
  const LargeFile& file = largeFile();
  measureProgram(state, {ORVEXKIT_PRINT_FACT, "digest", file.path()}, file.digest());
}

void digestByMd5sum(benchmark::State& state) {
  const LargeFile& file = largeFile();
  measureProgram(state, {"md5sum", file.path()}, file.digest());
  bench::wantTimesAsFast(state, 1);
}

void digestByOpenssl(benchmark::State& state) {
  const LargeFile& file = largeFile();
  measureProgram(state, {"openssl", "dgst", "-md5", "-r", file.path()}, file.digest());
  bench::wantTimesAsFast(state, 1);
}

// The text of a size --------------------------------------------------------------------------

constexpr std::array<std::int64_t, 10> sizes{
    0, 512, 1'000, 1'500, 48'211, 999'999, 3'460'300, 734'003'200, 4'700'372, 2'500'000'000};

void humanReadableSize(benchmark::State& state) {
  for (auto iteration : state) {
    static_cast<void>(iteration);
    for (const std::int64_t size : sizes) {
      benchmark::DoNotOptimize(OXHumanReadableFileSize(size));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(sizes.size()));
}

// GLib's texts differ: "1.5 kB" with a no-break space, "512 bytes", and in the user's language.
void humanReadableSizeByGlib(benchmark::State& state) {
  for (auto iteration : state) {
    static_cast<void>(iteration);
    for (const std::int64_t size : sizes) {
      const std::unique_ptr<char, decltype(&g_free)> text(g_format_size(static_cast<guint64>(size)),
                                                          g_free);
      benchmark::DoNotOptimize(text.get());
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(sizes.size()));
  bench::wantTimesAsFast(state, 2);
}

// Loading the library -------------------------------------------------------------------------

// Alternates the two programs. The least times count, of many runs: a single start varies too much.
void loading(benchmark::State& state) {
  constexpr int turns = 500;
  constexpr double milliseconds = 1000;
  std::vector<double> with;
  std::vector<double> without;
  std::vector<double> wallWith;
  std::vector<double> wallWithout;
  for (auto iteration : state) {
    static_cast<void>(iteration);
    for (int turn = 0; turn < turns; ++turn) {
      const auto plain = bench::runProgram({ORVEXKIT_EXTENSION_WITHOUT_LIBRARY, "photos.tar.gz"});
      const auto ours = bench::runProgram({ORVEXKIT_EXTENSION_WITH_LIBRARY, "photos.tar.gz"});
      if (ours.output != "tar.gz\n" || plain.output != ours.output) {
        state.SkipWithError("another extension");
        return;
      }
      with.push_back(ours.processorTime * milliseconds);
      without.push_back(plain.processorTime * milliseconds);
      wallWith.push_back(ours.wallTime * milliseconds);
      wallWithout.push_back(plain.wallTime * milliseconds);
    }
  }
  using std::ranges::min;
  bench::stateFigure(state, "ms of processor time, with the library", min(with));
  bench::stateFigure(state, "ms of processor time, without it", min(without));
  bench::stateFigure(state, "ms more of processor time", min(with) - min(without), 2);
  bench::stateFigure(state, "ms more of wall-clock time", min(wallWith) - min(wallWithout), 2);
}

#define BENCHMARK_FOLDER_SIZE(tree, text)                                               \
  BENCHMARK(folderSize<tree, sizeByRule>)->Name("OXGetTotalFolderSize, " text "/ours"); \
  BENCHMARK(folderSizeByPeer<tree, sizeByIterator, 1'500>)                              \
      ->Name("OXGetTotalFolderSize, " text "/std_filesystem");                          \
  BENCHMARK(folderSizeByPeer<tree, sizeByBareCallsAt, 909>)                             \
      ->Name("OXGetTotalFolderSize, " text "/bare_calls");                              \
  BENCHMARK(folderSizeProgram<tree>)                                                    \
      ->Name("OXGetTotalFolderSize as a program, " text "/ours")                        \
      ->UseManualTime();                                                                \
  BENCHMARK(folderSizeByDu<tree>)                                                       \
      ->Name("OXGetTotalFolderSize as a program, " text "/du_sb")                       \
      ->UseManualTime()

BENCHMARK_FOLDER_SIZE(SmallFolders, "150,000 entries, 15 to a folder");
BENCHMARK_FOLDER_SIZE(LargeFolders, "150,000 entries, 100 to a folder");

// These take long, so fewer repetitions are enough.
constexpr int digestTurns = 7;

BENCHMARK(digest)->Name("OXGenerateMD5DigestForFile, 512 MiB/ours")->Repetitions(digestTurns);
BENCHMARK(digestOfMemory)
    ->Name("OXGenerateMD5DigestForFile, 512 MiB/libcrypto_in_memory")
    ->Repetitions(digestTurns);
BENCHMARK(digestProgram)
    ->Name("OXGenerateMD5DigestForFile as a program, 512 MiB/ours")
    ->UseManualTime()
    ->Repetitions(digestTurns);
BENCHMARK(digestByMd5sum)
    ->Name("OXGenerateMD5DigestForFile as a program, 512 MiB/md5sum")
    ->UseManualTime()
    ->Repetitions(digestTurns);
BENCHMARK(digestByOpenssl)
    ->Name("OXGenerateMD5DigestForFile as a program, 512 MiB/openssl_dgst")
    ->UseManualTime()
    ->Repetitions(digestTurns);

BENCHMARK(humanReadableSize)->Name("OXHumanReadableFileSize/ours");
BENCHMARK(humanReadableSizeByGlib)->Name("OXHumanReadableFileSize/g_format_size");

BENCHMARK(loading)->Name("loading the library/ours")->Iterations(1)->Repetitions(1);

}  // namespace

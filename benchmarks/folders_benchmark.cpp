// SPDX-License-Identifier: MIT

// Free names and new folders in a destination, compared with a simple loop and bare system calls.

#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Comparison.h"
#include "OrvexKit/OXFileUtil.h"
#include "TemporaryWorld.h"

namespace {

using namespace ox;
namespace fs = std::filesystem;

// The first free name -------------------------------------------------------------------------

constexpr int takenNames = 10'000;

std::string numberedName(int counter) {
  return "photos (" + std::to_string(counter) + ").tar.gz";
}

// A folder in which the name and its first numbered variants are taken.
class FullFolder {
 public:
  FullFolder() {
    std::ofstream(world_.folder() / "photos.tar.gz").close();
    for (int counter = 1; counter < takenNames; ++counter) {
      std::ofstream(world_.folder() / numberedName(counter)).close();
    }
  }

  const fs::path& path() const { return world_.folder(); }

 private:
  bench::TemporaryWorld world_;
};

const fs::path& fullFolder() {
  static const FullFolder folder;
  return folder.path();
}

std::string firstFreeByAsking(const fs::path& folder) {
  fs::path candidate = folder / "photos.tar.gz";
  for (int counter = 1; fs::exists(candidate); ++counter) {
    candidate = folder / numberedName(counter);
  }
  return candidate.string();
}

void uniqueName(benchmark::State& state) {
  const fs::path& folder = fullFolder();
  for (auto iteration : state) {
    static_cast<void>(iteration);
    benchmark::DoNotOptimize(OXSequentiallyUniqueName("photos.tar.gz", folder.native(), false));
  }
}

void uniqueNameByAsking(benchmark::State& state) {
  const fs::path& folder = fullFolder();
  if (OXSequentiallyUniqueName("photos.tar.gz", folder.native(), false) !=
      firstFreeByAsking(folder)) {
    state.SkipWithError("another name");
    return;
  }
  for (auto iteration : state) {
    static_cast<void>(iteration);
    benchmark::DoNotOptimize(firstFreeByAsking(folder));
  }
  bench::wantTimesAsFast(state, 2);
}

// An extraction folder ------------------------------------------------------------------------

// The library's necessary system calls, with paths prepared beforehand. Returns 0 on success.
struct BareCalls {
  std::string pattern;
  std::string scratch;
  std::string probe;
  std::string final;

  explicit BareCalls(const fs::path& destination)
      : pattern((fs::temp_directory_path() / ".orvx.XXXXXX").string()),
        scratch(pattern),
        probe(pattern + "/notes"),
        final((destination / "notes").string()) {}

  bool make() {
    pattern.copy(scratch.data(), scratch.size());
    if (::mkdtemp(scratch.data()) == nullptr) {
      return false;
    }
    scratch.copy(probe.data(), scratch.size());
    struct stat status;
    return ::mkdir(probe.c_str(), 0777) == 0 && ::rmdir(probe.c_str()) == 0 &&
           ::rmdir(scratch.c_str()) == 0 && ::lstat(final.c_str(), &status) != 0 &&
           ::mkdir(final.c_str(), 0777) == 0;
  }
};

void extractionFolder(benchmark::State& state) {
  const bench::TemporaryWorld world;
  for (auto iteration : state) {
    static_cast<void>(iteration);
    const OXString folder = OXSafelyCreateArchiveSubdir("notes.zip", world.folder().native(), true);
    if (!folder || ::rmdir(folder->c_str()) != 0) {
      state.SkipWithError("no folder was made");
      return;
    }
  }
}

void extractionFolderByBareCalls(benchmark::State& state) {
  const bench::TemporaryWorld world;
  BareCalls calls(world.folder());
  const OXString ours = OXSafelyCreateArchiveSubdir("notes.zip", world.folder().native(), true);
  if (ours != calls.final || ::rmdir(calls.final.c_str()) != 0) {
    state.SkipWithError("another folder");
    return;
  }
  for (auto iteration : state) {
    static_cast<void>(iteration);
    if (!calls.make() || ::rmdir(calls.final.c_str()) != 0) {
      state.SkipWithError("no folder was made");
      return;
    }
  }
  bench::wantTimesAsFast(state, 0.8);
}

BENCHMARK(uniqueName)->Name("OXSequentiallyUniqueName/ours");
BENCHMARK(uniqueNameByAsking)->Name("OXSequentiallyUniqueName/std_filesystem");

BENCHMARK(extractionFolder)->Name("OXSafelyCreateArchiveSubdir/ours");
BENCHMARK(extractionFolderByBareCalls)->Name("OXSafelyCreateArchiveSubdir/bare_calls");

}  // namespace

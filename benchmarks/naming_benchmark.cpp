// SPDX-License-Identifier: MIT

// The rules on archive names, compared with the same rules over `std::filesystem::path`.

#include <benchmark/benchmark.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "Comparison.h"
#include "OrvexKit/OXFileUtil.h"
#include "TemporaryWorld.h"

namespace {

using namespace ox;
namespace fs = std::filesystem;

// The peers -----------------------------------------------------------------------------------

// Their paths are made beforehand, which is their best case.

// A path that ends in a slash has an empty file name; its parent has the name.
bool endsInSlash(const fs::path& path) {
  return !path.has_filename() && path.has_relative_path();
}

std::string archiveExtensionOfPath(const fs::path& path) {
  if (endsInSlash(path)) {
    return archiveExtensionOfPath(path.parent_path());
  }
  const fs::path extension = path.extension();
  if (extension.native().size() < 2) {
    return {};
  }
  const bool followsTar = ::strcasecmp(path.stem().extension().c_str(), ".tar") == 0;
  return followsTar ? "tar" + extension.native() : extension.native().substr(1);
}

std::string pathWithoutArchiveExtension(const fs::path& path) {
  const std::string& text = path.native();
  const std::size_t cut = archiveExtensionOfPath(path).size();
  return cut != 0 && text.size() - 1 > cut ? text.substr(0, text.size() - 1 - cut) : text;
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string firstNumber(std::size_t digits) {
  return std::string(digits - 1, '0') + '1';
}

// Empty if the name is not a volume's.
std::string firstVolumeName(const fs::path& path) {
  const fs::path extensionPath = path.extension();
  const std::string& extension = extensionPath.native();
  if (extension.size() < 2) {
    return {};
  }
  const fs::path stem = path.stem();
  if (extension == ".rar") {
    const fs::path innerPath = stem.extension();
    const std::string& inner = innerPath.native();
    const bool isPart = inner.starts_with(".part") && inner.size() > 5;
    return isPart ? stem.stem().native() + ".part" + firstNumber(inner.size() - 5) + ".rar"
                  : std::string();
  }
  if (std::all_of(extension.begin() + 1, extension.end(), isDigit)) {
    const bool hasInner = stem.extension().native().size() > 1;
    return hasInner ? stem.native() + '.' + firstNumber(extension.size() - 1) : std::string();
  }
  const bool isOldRar =
      extension[1] == 'r' && std::all_of(extension.begin() + 2, extension.end(), isDigit);
  return isOldRar ? stem.native() + ".rar" : std::string();
}

std::string firstVolumeOfPath(const fs::path& path) {
  const fs::path trimmed = endsInSlash(path) ? path.parent_path() : fs::path();
  const fs::path& named = trimmed.empty() ? path : trimmed;
  const std::string name = firstVolumeName(named);
  if (name.empty()) {
    return path.native();
  }
  const fs::path candidate = named.parent_path() / name;
  std::error_code ignored;
  const bool isFirst = candidate.native() == path.native() || fs::exists(candidate, ignored);
  return isFirst ? candidate.native() : path.native();
}

// The names -----------------------------------------------------------------------------------

using Paths = std::vector<fs::path>;

const Paths& archiveNames() {
  static const Paths names{
      "/home/user/Downloads/photos.tar.gz",
      "/home/user/Downloads/PHOTOS.TAR.BZ2",
      "report.pdf",
      "/srv/backup/2024-05-01/database.tar.zst",
      "README",
      "/media/disk/movie.part03.rar",
      "archive.7z.001",
      ".hidden.tar.xz",
      "/home/user/Documents/Letters and invoices of the last year (final).zip",
      "folder.tar/",
  };
  return names;
}

// For these, the first volume is known without access to the disk.
const Paths& volumeNamesAlone() {
  static const Paths names{
      "/media/disk/movie.part1.rar",
      "/media/disk/movie.part01.rar",
      "/home/user/Downloads/backup of the old machine.7z.001",
      "/home/user/Downloads/archive.zip",
      "movie.rar",
      "/home/user/Music/name.mp3",
      "/home/user/disk.003",
      "README",
  };
  return names;
}

// Volumes, and the paths of their first volumes, half of which exist.
class VolumesOnDisk {
 public:
  VolumesOnDisk() {
    for (const char* const first : {"movie.part01.rar", "old.rar", "disk.7z.001"}) {
      firsts_.push_back(world_.folder() / first);
      std::ofstream(firsts_.back()).close();
    }
    for (const char* const missing : {"lost.part01.rar", "gone.rar", "away.7z.001"}) {
      firsts_.push_back(world_.folder() / missing);
    }
    for (const char* const volume : {"movie.part03.rar", "old.r07", "disk.7z.002",
                                     "lost.part03.rar", "gone.r07", "away.7z.002"}) {
      volumes_.push_back(world_.folder() / volume);
    }
  }

  const Paths& volumes() const { return volumes_; }
  const Paths& firsts() const { return firsts_; }

 private:
  bench::TemporaryWorld world_;
  Paths volumes_;
  Paths firsts_;
};

const VolumesOnDisk& volumeWorld() {
  static const VolumesOnDisk world;
  return world;
}

const Paths& volumesOnDisk() {
  return volumeWorld().volumes();
}

// The measures --------------------------------------------------------------------------------

template <typename Rule>
void measure(benchmark::State& state, const Paths& paths, Rule rule) {
  for (auto iteration : state) {
    static_cast<void>(iteration);
    for (const fs::path& path : paths) {
      benchmark::DoNotOptimize(rule(path));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(paths.size()));
}

template <OXString (*rule)(OXStringView), const Paths& (*paths)()>
void ours(benchmark::State& state) {
  measure(state, paths(), [](const fs::path& path) { return rule(path.native()); });
}

// `wantedTenths` is ten times the wanted ratio; 0 if the disk dominates the time.
template <OXString (*rule)(OXStringView), std::string (*peer)(const fs::path&),
          const Paths& (*paths)(), int wantedTenths>
void overPaths(benchmark::State& state) {
  for (const fs::path& path : paths()) {
    if (rule(path.native()) != peer(path)) {
      state.SkipWithError(("another result for " + path.string()).c_str());
      return;
    }
  }
  measure(state, paths(), peer);
  if (wantedTenths != 0) {
    bench::wantTimesAsFast(state, wantedTenths / 10.0);
  }
}

// The one system call needed to look for a first volume.
void bareStat(benchmark::State& state) {
  measure(state, volumeWorld().firsts(), [](const fs::path& path) {
    struct stat status;
    return ::stat(path.c_str(), &status);
  });
}

using OXFileUtilAdditions::archiveExtension;
using OXFileUtilAdditions::stringByDeletingArchiveExtension;

BENCHMARK(ours<archiveExtension, archiveNames>)->Name("archiveExtension/ours");
BENCHMARK(overPaths<archiveExtension, archiveExtensionOfPath, archiveNames, 45>)
    ->Name("archiveExtension/std_filesystem");

BENCHMARK(ours<stringByDeletingArchiveExtension, archiveNames>)
    ->Name("stringByDeletingArchiveExtension/ours");
BENCHMARK(
    overPaths<stringByDeletingArchiveExtension, pathWithoutArchiveExtension, archiveNames, 45>)
    ->Name("stringByDeletingArchiveExtension/std_filesystem");

BENCHMARK(ours<OXGetFirstArchiveVolumePath, volumeNamesAlone>)
    ->Name("OXGetFirstArchiveVolumePath by name alone/ours");
BENCHMARK(overPaths<OXGetFirstArchiveVolumePath, firstVolumeOfPath, volumeNamesAlone, 45>)
    ->Name("OXGetFirstArchiveVolumePath by name alone/std_filesystem");

BENCHMARK(ours<OXGetFirstArchiveVolumePath, volumesOnDisk>)
    ->Name("OXGetFirstArchiveVolumePath on disk/ours");
BENCHMARK(overPaths<OXGetFirstArchiveVolumePath, firstVolumeOfPath, volumesOnDisk, 0>)
    ->Name("OXGetFirstArchiveVolumePath on disk/std_filesystem");
BENCHMARK(bareStat)->Name("OXGetFirstArchiveVolumePath on disk/bare_stat");

}  // namespace

// SPDX-License-Identifier: MIT

#include "tour/Volumes.h"

#include <OrvexKit/OXFileUtil.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace tour {
namespace {

// How the volumes after the first one are called: text, a number of some width, text.
struct Numbering {
  std::string before;
  std::size_t width = 0;
  std::string after;
  unsigned next = 0;
};

// `path` must be a first volume. No width when it is not numbered.
Numbering numberingOf(const std::string& path) {
  const bool isRar = path.ends_with(".rar");
  const std::string after = isRar ? ".rar" : "";
  const std::string base = path.substr(0, path.size() - after.size());
  const std::size_t end = base.find_last_not_of("0123456789") + 1;
  const std::string before = base.substr(0, end);
  const std::size_t width = base.size() - end;
  if (width > 0 && before.ends_with(isRar ? ".part" : ".") &&
      base.substr(end) == _OXFirstArchiveVolumeExtension(width)) {
    return {.before = before, .width = width, .after = after, .next = 2};
  }
  return isRar ? Numbering{.before = base + ".r", .width = 2, .after = "", .next = 0} : Numbering();
}

std::string pathOf(const Numbering& numbering, unsigned number) {
  std::string digits = std::to_string(number);
  if (digits.size() < numbering.width) {
    digits.insert(0, numbering.width - digits.size(), '0');
  }
  return numbering.before + digits + numbering.after;
}

}  // namespace

Volumes findVolumes(const std::string& clicked) {
  std::error_code error;
  const std::string first = std::filesystem::absolute(*OXGetFirstArchiveVolumePath(clicked), error);
  Volumes volumes{.name = std::filesystem::path(first).filename(), .paths = {first}};
  const Numbering numbering = numberingOf(first);
  if (numbering.width == 0) {
    return volumes;
  }
  if (numbering.next > 1) {
    // Without the number, and without the ".part" or the "." before it.
    const std::filesystem::path base(numbering.before);
    volumes.name = base.stem().string() + numbering.after;
  }
  for (unsigned number = numbering.next;; ++number) {
    const std::string path = pathOf(numbering, number);
    if (!std::filesystem::is_regular_file(path, error)) {
      return volumes;
    }
    volumes.paths.push_back(path);
  }
}

}  // namespace tour

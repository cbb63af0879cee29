// SPDX-License-Identifier: MIT

#include "system/PathText.h"

#include <algorithm>
#include <climits>
#include <filesystem>

#include "console/Failure.h"

namespace oxarchive {

namespace fs = std::filesystem;

std::string pathInFolder(std::string_view path) {
  if (path.empty()) {
    throw EntryFailure("it has no name");
  }
  fs::path result;
  for (const fs::path& component : fs::path(path).relative_path()) {
    if (component == "..") {
      throw EntryFailure("its path leads out of the folder: it has \"..\"");
    }
    if (!component.empty() && component != ".") {
      result /= component;
    }
  }
  if (result.native().size() >= PATH_MAX) {
    throw EntryFailure("its name is too long");
  }
  return result;
}

std::string_view parentOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

std::string_view nameOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

std::string folderOf(const std::string& path) {
  return path.substr(0, path.rfind('/') + 1);
}

bool linkStaysInFolder(std::string_view path, std::string_view target) {
  if (target.empty() || target.starts_with('/')) {
    return false;
  }
  auto depth = std::ranges::count(path, '/');
  bool hasName = false;
  for (const fs::path& component : fs::path(target)) {
    if (component == "..") {
      --depth;
      if (hasName || depth < 0) {
        return false;
      }
    } else if (!component.empty() && component != ".") {
      hasName = true;
    }
  }
  return true;
}

}  // namespace oxarchive

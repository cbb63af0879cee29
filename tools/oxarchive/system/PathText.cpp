#include "system/PathText.h"

#include <algorithm>
#include <climits>

#include "console/Failure.h"

namespace oxarchive {
namespace {

// Takes the first component off `path`.
std::string_view takeComponent(std::string_view& path) {
  const std::size_t length = std::min(path.find('/'), path.size());
  const std::string_view component = path.substr(0, length);
  path.remove_prefix(std::min(length + 1, path.size()));
  return component;
}

}  // namespace

std::string pathInFolder(std::string_view path) {
  if (path.empty()) {
    throw EntryFailure("it has no name");
  }
  std::string result;
  while (!path.empty()) {
    const std::string_view component = takeComponent(path);
    if (component == "..") {
      throw EntryFailure("its path leads out of the folder: it has \"..\"");
    }
    if (component.empty() || component == ".") {
      continue;
    }
    if (!result.empty()) {
      result += '/';
    }
    result += component;
  }
  if (result.size() >= PATH_MAX) {
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
  while (!target.empty()) {
    const std::string_view component = takeComponent(target);
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

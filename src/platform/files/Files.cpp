// SPDX-License-Identifier: MIT

#include "platform/files/Files.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

#include "platform/files/Path.h"

namespace ox::files {
namespace {

std::string_view environment(const char* variable) noexcept {
  const char* const value = std::getenv(variable);
  return value != nullptr ? value : "";
}

std::string homeInPasswordDatabase() {
  std::vector<char> strings(1024);
  struct ::passwd entry {};
  struct ::passwd* found = nullptr;
  while (sys.getpwuid(::getuid(), &entry, strings.data(), strings.size(), &found) != 0 &&
         errno == ERANGE) {
    strings.resize(strings.size() * 2);
  }
  return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "";
}

void createFoldersAbove(const PathBuffer& path, mode_t mode) noexcept {
  PathBuffer parent = path;
  char* const bytes = parent.data();
  for (std::size_t i = 1; i < path.view().size(); ++i) {
    if (bytes[i] == '/' && bytes[i - 1] != '/') {
      bytes[i] = '\0';
      sys.mkdirat(AT_FDCWD, bytes, mode);
      bytes[i] = '/';
    }
  }
}

}  // namespace

std::string temporaryFolder() {
  const std::string_view named = environment("TMPDIR");
  const std::string_view folder = named.empty() ? "/tmp/" : named;
  std::array<char, PATH_MAX> current;
  const bool isKnown =
      folder.starts_with('/') || sys.getcwd(current.data(), current.size()) == nullptr;
  return isKnown ? std::string(folder) : path::appendingComponent(current.data(), folder);
}

std::optional<std::string> userDataFolder() {
  const std::string_view data = environment("XDG_DATA_HOME");
  if (data.starts_with('/')) {
    return std::string(data);
  }
  std::string home(environment("HOME"));
  if (!home.starts_with('/')) {
    home = homeInPasswordDatabase();
  }
  return home.starts_with('/') ? std::optional(path::appendingComponent(home, ".local/share"))
                               : std::nullopt;
}

std::optional<struct ::stat> statusOf(const PathBuffer& path, int flags) noexcept {
  struct ::stat status;
  const bool isThere =
      path.isRepresentable() && sys.fstatat(AT_FDCWD, path.c_str(), &status, flags) == 0;
  return isThere ? std::optional(status) : std::nullopt;
}

int createFolder(const PathBuffer& path, mode_t mode) noexcept {
  const int error = errorOf(sys.mkdirat(AT_FDCWD, path.c_str(), mode));
  if (error != ENOENT) {
    return error;
  }
  createFoldersAbove(path, mode);
  return errorOf(sys.mkdirat(AT_FDCWD, path.c_str(), mode));
}

std::optional<std::string> resolvePath(const PathBuffer& path) {
  std::array<char, PATH_MAX> resolved;
  if (sys.realpath(path.c_str(), resolved.data()) == nullptr) {
    return std::nullopt;
  }
  return resolved.data();
}

std::optional<std::string> linkedPath(const PathBuffer& path) {
  std::array<char, PATH_MAX> target;
  const ssize_t size = sys.readlink(path.c_str(), target.data(), target.size());
  if (size < 0) {
    return std::nullopt;
  }
  const std::string_view linked(target.data(), static_cast<std::size_t>(size));
  const bool isAbsolute = linked.starts_with('/');
  return path::appendingComponent(isAbsolute ? "" : path::deletingLastComponent(path.view()),
                                  linked);
}

FileDescriptor openRegularFile(const PathBuffer& path) noexcept {
  const auto status = statusOf(path);
  if (!status || !S_ISREG(status->st_mode)) {
    return {};
  }
  constexpr int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  return FileDescriptor(sys.openat(AT_FDCWD, path.c_str(), flags, 0));
}

}  // namespace ox::files

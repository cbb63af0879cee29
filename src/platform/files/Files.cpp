#include "platform/files/Files.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "platform/files/Path.h"
#include "platform/files/System.h"

namespace ox::files {

std::string temporaryFolder() {
  const char* const named = std::getenv("TMPDIR");
  const std::string_view folder = named != nullptr && *named != '\0' ? named : "/tmp/";
  std::array<char, PATH_MAX> current;
  const bool isKnown =
      folder.starts_with('/') || sys::getcwd(current.data(), current.size()) == nullptr;
  return isKnown ? std::string(folder) : path::appendingComponent(current.data(), folder);
}

namespace {

template <typename Ask>
std::optional<struct ::stat> statusBy(Ask ask, const PathBuffer& path) noexcept {
  std::optional<struct ::stat> status(std::in_place);
  if (!path.isRepresentable() || ask(path.c_str(), &*status) != 0) {
    status.reset();
  }
  return status;
}

}  // namespace

std::optional<struct ::stat> statusOf(const PathBuffer& path) noexcept {
  return statusBy(sys::stat, path);
}

std::optional<struct ::stat> statusOfLink(const PathBuffer& path) noexcept {
  return statusBy(sys::lstat, path);
}

bool itemExists(const PathBuffer& path) noexcept {
  return statusOf(path).has_value();
}

bool isNameTaken(const PathBuffer& path) noexcept {
  return statusOfLink(path).has_value();
}

namespace {

Creation createOneFolder(const char* path, mode_t mode) noexcept {
  if (sys::mkdir(path, mode) == 0) {
    return Creation::created;
  }
  return errno == EEXIST ? Creation::nameTaken : Creation::failed;
}

void createFoldersAbove(const PathBuffer& path, mode_t mode) noexcept {
  PathBuffer parent = path;
  char* const bytes = parent.data();
  for (std::size_t i = 1; i < path.view().size(); ++i) {
    if (bytes[i] == '/' && bytes[i - 1] != '/') {
      bytes[i] = '\0';
      sys::mkdir(bytes, mode);
      bytes[i] = '/';
    }
  }
}

}  // namespace

Creation createFolder(const PathBuffer& path, mode_t mode) noexcept {
  if (!path.isRepresentable()) {
    return Creation::failed;
  }
  const Creation outcome = createOneFolder(path.c_str(), mode);
  if (outcome != Creation::failed || errno != ENOENT) {
    return outcome;
  }
  createFoldersAbove(path, mode);
  return createOneFolder(path.c_str(), mode);
}

std::optional<std::string> resolvePath(const PathBuffer& path) {
  std::array<char, PATH_MAX> resolved;
  if (!path.isRepresentable() || sys::realpath(path.c_str(), resolved.data()) == nullptr) {
    return std::nullopt;
  }
  return resolved.data();
}

std::optional<std::string> linkedPath(const PathBuffer& path) {
  std::array<char, PATH_MAX> target;
  const ssize_t size =
      path.isRepresentable() ? sys::readlink(path.c_str(), target.data(), target.size()) : -1;
  if (size < 0) {
    return std::nullopt;
  }
  const std::string_view linked(target.data(), static_cast<std::size_t>(size));
  const bool isAbsolute = linked.starts_with('/');
  return path::appendingComponent(isAbsolute ? "" : path::deletingLastComponent(path.view()),
                                  linked);
}

bool createUniqueFolder(char* pattern) noexcept {
  return sys::mkdtemp(pattern) != nullptr;
}

FileDescriptor openRegularFile(const PathBuffer& path) noexcept {
  const auto status = statusOf(path);
  if (!status || !S_ISREG(status->st_mode)) {
    return {};
  }
  return FileDescriptor(sys::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

}  // namespace ox::files

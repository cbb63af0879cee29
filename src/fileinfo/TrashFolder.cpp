#include "fileinfo/TrashFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/desktop/Gio.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"
#include "platform/files/PathBuffer.h"
#include "platform/files/System.h"
#include "platform/files/UserFolders.h"

namespace ox {
namespace {

// Enough to make, open and rename in a folder, even one that may not be listed.
constexpr int openFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

std::optional<dev_t> deviceOf(const std::string& path) noexcept {
  const auto status = files::statusOf(PathBuffer(path));
  return status ? std::optional(status->st_dev) : std::nullopt;
}

// That on which the folder at an absolute path lies, or would lie once it is made.
std::optional<dev_t> futureDeviceOf(std::string path) {
  std::optional<dev_t> device = deviceOf(path);
  while (!device && path != "/") {
    path = path::deletingLastComponent(path);
    device = deviceOf(path);
  }
  return device;
}

std::optional<TrashFolder> withItsFolders(FileDescriptor folder, std::string top) {
  if (!folder.isOpen()) {
    return std::nullopt;
  }
  const auto open = [&folder](const char* name) {
    sys::mkdirat(folder.get(), name, S_IRWXU);
    return FileDescriptor(sys::openat(folder.get(), name, openFlags, 0));
  };
  FileDescriptor info = open("info");
  FileDescriptor files = open("files");
  if (!info.isOpen() || !files.isOpen()) {
    return std::nullopt;
  }
  return TrashFolder{.folder = std::move(folder),
                     .info = std::move(info),
                     .files = std::move(files),
                     .top = std::move(top)};
}

std::optional<TrashFolder> openHomeTrash(dev_t device) {
  std::optional<std::string> path = userDataFolder();
  if (!path) {
    return std::nullopt;
  }
  path::appendComponent(*path, "Trash");
  if (futureDeviceOf(*path) != device) {
    return std::nullopt;
  }
  const PathBuffer bytes(*path);
  files::createFolder(bytes, S_IRWXU);
  return withItsFolders(FileDescriptor(sys::open(bytes.c_str(), openFlags)), "");
}

// Where the file system of the folder `path` is mounted.
std::string topOf(dev_t device, std::string path) {
  while (path != "/") {
    std::string parent(path::deletingLastComponent(path));
    if (deviceOf(parent) != device) {
      break;
    }
    path = std::move(parent);
  }
  return path;
}

// A folder of the user's own, which nobody else can have put there as a trap.
FileDescriptor openOwnFolder(int dirfd, const std::string& name) noexcept {
  sys::mkdirat(dirfd, name.c_str(), S_IRWXU);
  FileDescriptor folder(sys::openat(dirfd, name.c_str(), openFlags | O_NOFOLLOW, 0));
  struct stat status;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the call
  const bool isOwn =
      folder.isOpen() && sys::fstat(folder.get(), &status) == 0 && status.st_uid == ::getuid();
  return isOwn ? std::move(folder) : FileDescriptor();
}

// In ".Trash", which an administrator made for all users, with the sticky bit.
FileDescriptor openSharedTrash(int topFd) {
  const FileDescriptor shared(sys::openat(topFd, ".Trash", openFlags | O_NOFOLLOW, 0));
  struct stat status;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the call
  if (!shared.isOpen() || sys::fstat(shared.get(), &status) != 0 ||
      (status.st_mode & S_ISVTX) == 0) {
    return {};
  }
  return openOwnFolder(shared.get(), std::to_string(::getuid()));
}

std::optional<TrashFolder> openTrashAt(std::string top) {
  if (!gio::isUserMount(top.c_str())) {
    return std::nullopt;
  }
  const FileDescriptor topFolder(sys::open(top.c_str(), openFlags));
  if (!topFolder.isOpen()) {
    return std::nullopt;
  }
  FileDescriptor trash = openSharedTrash(topFolder.get());
  if (!trash.isOpen()) {
    trash = openOwnFolder(topFolder.get(), ".Trash-" + std::to_string(::getuid()));
  }
  path::endWithSeparator(top);
  return withItsFolders(std::move(trash), std::move(top));
}

}  // namespace

std::optional<TrashFolder> openTrash(dev_t device, const std::string& parent) {
  // An item on another file system than its folder is where that is mounted, and cannot move.
  if (deviceOf(parent) != device) {
    return std::nullopt;
  }
  std::optional<TrashFolder> trash = openHomeTrash(device);
  return trash ? std::move(trash) : openTrashAt(topOf(device, parent));
}

}  // namespace ox

// SPDX-License-Identifier: MIT

#include "fileinfo/TrashFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "platform/desktop/Desktop.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"
#include "platform/files/PathBuffer.h"

namespace ox {
namespace {

using Access = Folder::Access;

constexpr const char* sharedTrash = ".Trash";
constexpr const char* ownTrash = ".Trash-";  // followed by the user's number

// The identities of the item and of the folders from the root to its own.
using Passed = std::vector<Identity>;

std::string userNumber() {
  return std::to_string(::getuid());
}

// Whether the error means that there is no such folder. A folder that may not be searched counts as
// absent, because the item was not reached through it.
constexpr bool isAbsence(int error) noexcept {
  return error == ENOENT || error == ENOTDIR || error == ELOOP || error == EACCES;
}

// Whether the item is, or is in, the item `name` of `folder`; true if that is unknown.
bool passes(const Passed& passed, const Folder& folder, const std::string& name) noexcept {
  struct stat status;
  const int error = folder.statusOf(name.c_str(), status);
  return error == 0 ? std::ranges::find(passed, identityOf(status)) != passed.end()
                    : !isAbsence(error);
}

// The whole of ".Trash" counts as a Trash while the user has one in it.
bool passesTrashAt(const Passed& passed, const Folder& top) {
  const Folder shared = top.openFolder(sharedTrash, Access::use);
  struct stat status;
  const int error = shared.statusOf(userNumber().c_str(), status);
  return passes(passed, top, ownTrash + userNumber()) ||
         (error == 0 ? passes(passed, top, sharedTrash) : !isAbsence(error));
}

// Whether the item is a folder or link on the absolute `path`, or on the target of a link on it.
bool isOnWayTo(const std::string& path, const Identity& item) {
  constexpr std::size_t mostLinks = 40;  // the kernel follows no more
  std::vector<std::string> paths{path};  // and the targets of links on them
  for (std::size_t i = 0; i < paths.size() && i <= mostLinks; ++i) {
    std::string way(path::withoutTrailingSlashes(paths[i]));
    for (; way != "/"; way = path::deletingLastComponent(way)) {
      const PathBuffer place(way);
      const auto status = files::statusOfLink(place);
      if (status && identityOf(*status) == item) {
        return true;
      }
      // A known target leads through the same places again.
      auto linked = files::linkedPath(place);
      if (linked && std::ranges::find(paths, *linked) == paths.end()) {
        paths.push_back(std::move(*linked));
      }
    }
  }
  return false;
}

// Includes the links on its path: without one of them, the Trash could not be found again.
bool passesHomeTrash(const Passed& passed, const std::string& home) {
  return !home.empty() &&
         (isOnWayTo(home, passed.front()) ||
          passes(passed, Folder::open(home.c_str(), Access::use, Folder::Links::follow), "."));
}

}  // namespace

bool findTrashes(ItemPlace& place) {
  Passed passed{place.item};
  std::string way = place.path;
  path::endWithSeparator(way);
  for (std::size_t slash = 0; slash != std::string::npos; slash = way.find('/', slash + 1)) {
    const std::string path = way.substr(0, std::max<std::size_t>(slash, 1));
    Folder folder = Folder::open(path.c_str(), Access::use, Folder::Links::refuse);
    struct stat status;
    if (folder.status(status) != 0) {
      return false;
    }
    passed.push_back(identityOf(status));
    const Mount mount(folder.mountId(), status.st_dev);
    if (place.tops.empty() || mount != place.mount) {
      place.tops.push_back(std::move(folder));
      place.topPath = path;
    }
    place.mount = mount;
  }
  if (const auto data = files::userDataFolder()) {
    place.home = path::appendingComponent(*data, "Trash");
  }
  const auto isTrashPassed = [&](const Folder& top) { return passesTrashAt(passed, top); };
  return std::ranges::none_of(place.tops, isTrashPassed) && !passesHomeTrash(passed, place.home);
}

TrashFolder::~TrashFolder() {
  for (; !made_.empty(); made_.pop_back()) {
    made_.back().first.removeFolder(made_.back().second.c_str());
  }
}

// Opens a folder, and creates it if it is missing. Returns ENOENT only if somebody removes it or
// `parent` meanwhile, and EPERM if `owner` is given and is not its owner.
int TrashFolder::openMade(const Folder& parent, const std::string& name, Access access,
                          std::optional<uid_t> owner, Folder& opened) {
  std::pair<Folder, std::string> made(parent.openFolder(".", Access::use), name);
  if (!made.first.isOpen()) {
    return made.first.error();
  }
  made_.reserve(made_.size() + 1);  // so that recording a new folder cannot fail
  const int notMade = parent.makeFolder(name.c_str(), S_IRWXU);
  if (notMade == 0) {
    made_.push_back(std::move(made));
  }
  struct stat status;
  opened = parent.openFolder(name.c_str(), access);
  const int error = opened.status(status);
  if (error == 0) {
    return owner.value_or(status.st_uid) == status.st_uid ? 0 : EPERM;
  }
  return error == ENOENT && notMade != 0 && notMade != EEXIST ? notMade : error;
}

int TrashFolder::openHome(const ItemPlace& place, Folder& opened) {
  if (place.home.empty()) {
    return EXDEV;
  }
  std::string path = place.home;
  std::vector<std::string> missing;
  opened = Folder::open(path.c_str(), Access::use, Folder::Links::follow);
  while (!opened.isOpen() && path != "/") {
    missing.emplace_back(path::lastComponent(path));
    path = path::deletingLastComponent(path);
    opened = Folder::open(path.c_str(), Access::use, Folder::Links::follow);
  }
  struct stat status;
  if (opened.status(status) != 0 || Mount(opened.mountId(), status.st_dev) != place.mount) {
    return EXDEV;
  }
  int error = 0;
  for (; error == 0 && !missing.empty(); missing.pop_back()) {
    const Folder parent = std::move(opened);
    error = openMade(parent, missing.back(), Access::use, std::nullopt, opened);
  }
  return error;
}

int TrashFolder::openAtTop(Trash which, const ItemPlace& place, Folder& opened) {
  if (!isUserMount(place.topPath.c_str())) {
    return EXDEV;
  }
  if (which == Trash::own) {
    return openMade(place.tops.back(), ownTrash + userNumber(), Access::use, ::getuid(), opened);
  }
  // An administrator creates it. Without the sticky bit, users could move each other's items.
  const Folder shared = place.tops.back().openFolder(sharedTrash, Access::use);
  struct stat status;
  if (shared.status(status) != 0 || (status.st_mode & S_ISVTX) == 0) {
    return EXDEV;
  }
  return openMade(shared, userNumber(), Access::use, ::getuid(), opened);
}

int TrashFolder::open(Trash which, const ItemPlace& place) {
  Folder folder;
  int error = which == Trash::home ? openHome(place, folder) : openAtTop(which, place, folder);
  struct stat status;
  error = error == 0 ? folder.status(status) : error;
  if (error == 0) {
    const uid_t owner = status.st_uid;
    // Read access, because the folder of the entries will be synced.
    error = openMade(folder, "info", Access::list, owner, info_);
    error = error == 0 ? openMade(folder, "files", Access::use, owner, files_) : error;
  }
  return error == 0 || error == ENOENT ? error : EXDEV;
}

}  // namespace ox

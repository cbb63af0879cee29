#include "fileinfo/TrashFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include "platform/desktop/Gio.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"
#include "platform/files/PathBuffer.h"

namespace ox {
namespace {

using Access = Folder::Access;

constexpr const char* sharedTrash = ".Trash";
constexpr const char* ownTrash = ".Trash-";  // and the user's number

// Whether an error says that no folder is there. No item was reached through one that may not be
// searched, either.
constexpr bool isAbsence(int error) noexcept {
  return error == ENOENT || error == ENOTDIR || error == ELOOP || error == EACCES;
}

}  // namespace

MadeFolders::~MadeFolders() {
  for (; !made_.empty(); made_.pop_back()) {
    made_.back().first.removeFolder(made_.back().second.c_str());
  }
}

int MadeFolders::open(const Folder& parent, const std::string& name, Access access,
                      std::optional<uid_t> owner, Folder& opened) {
  std::pair<Folder, std::string> made(Folder(), name);
  int error = parent.openFolder(".", Access::use, made.first);
  if (error != 0) {
    return error;
  }
  made_.reserve(made_.size() + 1);
  const int notMade = parent.makeFolder(name.c_str(), S_IRWXU);
  if (notMade == 0) {
    made_.push_back(std::move(made));
  }
  struct stat status;
  error = parent.openFolder(name.c_str(), access, opened);
  error = error == 0 ? opened.status(status) : error;
  if (error == 0) {
    return owner.value_or(status.st_uid) == status.st_uid ? 0 : EPERM;
  }
  return error == ENOENT && notMade != 0 && notMade != EEXIST ? notMade : error;
}

int ItemWay::look(const Folder& folder, Spot& spot) noexcept {
  struct stat status {};
  const int error = folder.status(status);
  spot = {.identity = identityOf(status), .mount = folder.mountId()};
  return error;
}

// A bind mount has the device of what it shows, and a mount may have several devices. Nothing can
// be renamed across either.
bool ItemWay::isSameMount(const Spot& a, const Spot& b) noexcept {
  return a.mount == b.mount && a.identity.device == b.identity.device;
}

int ItemWay::reachTop(Folder top, const std::string& path) {
  if (passesTrashAt(top)) {
    return EBUSY;
  }
  if (!top_.isOpen()) {
    top_ = std::move(top);
    topPath_ = path;
  }
  return 0;
}

int ItemWay::follow(const ItemPlace& place) {
  user_ = std::to_string(::getuid());
  if (const auto data = files::userDataFolder()) {
    home_ = path::appendingComponent(*data, "Trash");
  }
  passed_ = {place.item};
  std::string path = place.path;
  Folder folder;
  Spot spot;
  int error = place.folder.openFolder(".", Access::use, folder);
  error = error == 0 ? look(folder, spot) : error;
  first_ = spot;
  for (bool isRoot = false; error == 0 && !isRoot;) {
    passed_.push_back(spot.identity);
    isRoot = path == "/";
    Folder parent;
    Spot above;
    error = folder.openFolder("..", Access::use, parent);
    error = error == 0 ? look(parent, above) : error;
    if (error == 0 && (isRoot || !isSameMount(above, spot))) {
      error = reachTop(std::move(folder), path);
    }
    path = path::deletingLastComponent(path);
    folder = std::move(parent);
    spot = above;
  }
  return error == 0 && passesHomeTrash() ? EBUSY : error;
}

bool ItemWay::passes(const Folder& folder, const std::string& name) const noexcept {
  struct stat status;
  const int error = folder.statusOf(name.c_str(), status);
  return error == 0 ? std::ranges::find(passed_, identityOf(status)) != passed_.end()
                    : !isAbsence(error);
}

// All of ".Trash" stays while the user has a Trash in it.
bool ItemWay::passesTrashAt(const Folder& top) const {
  Folder shared;
  struct stat status;
  int error = top.openFolder(sharedTrash, Access::use, shared);
  error = error == 0 ? shared.statusOf(user_.c_str(), status) : error;
  return passes(top, ownTrash + user_) ||
         (error == 0 ? passes(top, sharedTrash) : !isAbsence(error));
}

// Whether the item is a folder or link that the absolute path `rest` leads through, those that its
// links lead through included.
bool ItemWay::isOnWayTo(std::string rest) const {
  constexpr int mostLinks = 40;  // the kernel follows no more
  std::string folder = "/";
  std::array<char, PATH_MAX> target;
  for (int links = 0; !rest.empty() && links <= mostLinks;) {
    const std::string name = rest.substr(0, rest.find('/'));
    rest.erase(0, name.size() + 1);
    if (name.empty() || name == ".") {
      continue;
    }
    if (name == "..") {
      folder = path::deletingLastComponent(folder);
      continue;
    }
    std::string path = path::appendingComponent(folder, name);
    const auto status = files::statusOfLink(PathBuffer(path));
    if (!status || identityOf(*status) == passed_.front()) {
      return status.has_value();
    }
    const auto linked = files::readLink(PathBuffer(path), target);
    if (!linked) {
      folder = std::move(path);
      continue;
    }
    ++links;
    rest = path::appendingComponent(*linked, rest);
    if (linked->starts_with('/')) {
      folder = "/";
    }
  }
  return false;
}

// Each link that leads there stays as well: without it the Trash could not be found again.
bool ItemWay::passesHomeTrash() const {
  if (home_.empty()) {
    return false;
  }
  if (isOnWayTo(home_)) {
    return true;
  }
  Folder trash;
  const int error = Folder::open(home_.c_str(), Access::use, Folder::Links::follow, trash);
  return error == 0 ? passes(trash, ".") : !isAbsence(error);
}

int ItemWay::openHome(MadeFolders& made, Folder& opened) const {
  if (home_.empty()) {
    return EXDEV;
  }
  std::string path = home_;
  std::vector<std::string> missing;
  while (Folder::open(path.c_str(), Access::use, Folder::Links::follow, opened) != 0 &&
         path != "/") {
    missing.emplace_back(path::lastComponent(path));
    path = path::deletingLastComponent(path);
  }
  Spot spot;
  int error = look(opened, spot);
  if (error != 0 || !isSameMount(spot, first_)) {
    return EXDEV;
  }
  for (; error == 0 && !missing.empty(); missing.pop_back()) {
    const Folder parent = std::move(opened);
    error = made.open(parent, missing.back(), Access::use, std::nullopt, opened);
  }
  return error;
}

int ItemWay::openAtTop(Trash which, MadeFolders& made, Folder& opened) const {
  if (!gio::isUserMount(topPath_.c_str())) {
    return EXDEV;
  }
  if (which == Trash::own) {
    return made.open(top_, ownTrash + user_, Access::use, ::getuid(), opened);
  }
  // An administrator made it, with the sticky bit, so that nobody moves what others have in it.
  Folder shared;
  struct stat status;
  if (top_.openFolder(sharedTrash, Access::use, shared) != 0 || shared.status(status) != 0 ||
      (status.st_mode & S_ISVTX) == 0) {
    return EXDEV;
  }
  return made.open(shared, user_, Access::use, ::getuid(), opened);
}

int ItemWay::open(Trash which, TrashFolder& trash) const {
  Folder folder;
  int error =
      which == Trash::home ? openHome(trash.made, folder) : openAtTop(which, trash.made, folder);
  struct stat status;
  error = error == 0 ? folder.status(status) : error;
  if (error == 0) {
    const uid_t owner = status.st_uid;
    // The folder of the entries will be synced, which takes the permission to read it.
    error = trash.made.open(folder, "info", Access::list, owner, trash.info);
    error = error == 0 ? trash.made.open(folder, "files", Access::use, owner, trash.files) : error;
  }
  if (which != Trash::home) {
    trash.top = topPath_;
    path::endWithSeparator(trash.top);
  }
  return error;
}

}  // namespace ox

// SPDX-License-Identifier: MIT

// Moves items to the Trash of the desktop (freedesktop.org Trash 1.0). An item in the Trash has an
// entry under the same name, which records where it came from. The entry is created first,
// exclusively. If a later step fails, it is removed, and so are the folders that were created.
//
// GIO is not used: it moves the item with an empty entry if the disk is full, refuses names that
// are too long for their entry, and starts a daemon and threads.

#include "OrvexKit/OXFileUtil.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <span>
#include <string>
#include <string_view>

#include "fileinfo/TrashFolder.h"
#include "platform/coding/UTF8.h"
#include "platform/files/FileDescriptor.h"
#include "platform/files/Files.h"
#include "platform/files/Folder.h"
#include "platform/files/Path.h"
#include "platform/files/PathBuffer.h"

namespace ox {
namespace {

constexpr std::string_view entryExtension = ".trashinfo";

// Empty if it cannot be resolved.
std::string realPath(std::string_view path) {
  return files::resolvePath(PathBuffer(path.empty() ? "." : path)).value_or("");
}

// Follows the symbolic links in the path of the item's folder, but not the item itself. A path that
// ends in "." or ".." is resolved first, because the item is moved by its name.
bool findPlace(const OXFileReference& item, ItemPlace& place) {
  const std::string_view last = path::lastComponent(item.path);
  const std::string path = last == "." || last == ".." ? realPath(item.path) : item.path;
  place.path = realPath(path::deletingLastComponent(path));
  place.name = path::lastComponent(path);
  place.item = {.device = static_cast<dev_t>(item.device), .inode = static_cast<ino_t>(item.inode)};
  place.folder = Folder::open(place.path.c_str(), Folder::Access::use, Folder::Links::refuse);
  return !place.name.empty() && place.folder.isOpen();
}

// Paths in entries are escaped byte by byte, as in a URL (RFC 2396).
void appendEscaped(std::string& text, std::string_view path) {
  constexpr std::string_view unreserved =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.!~*'()/";
  constexpr std::string_view digits = "0123456789ABCDEF";
  for (const char c : path) {
    if (unreserved.find(c) != std::string_view::npos) {
      text += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text += {'%', digits[byte >> 4U], digits[byte & 15U]};
    }
  }
}

// The text of the entry. For a Trash at the top of a mount, the path in it is relative to that.
std::string entryOf(const ItemPlace& place, Trash which) {
  std::string path = path::appendingComponent(place.path, place.name);
  if (which != Trash::home) {
    path.erase(0, path.find_first_not_of('/', place.topPath.size()));
  }
  std::string entry("[Trash Info]\nPath=");
  appendEscaped(entry, path);
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  std::array<char, 64> date{};
  ::localtime_r(&now, &local);
  static_cast<void>(
      std::strftime(date.data(), date.size(), "\nDeletionDate=%Y-%m-%dT%H:%M:%S\n", &local));
  return entry += date.data();
}

// The names to try for an item in the Trash: its own, then with numbers before the extension, which
// keeps its kind. Truncated so that the entry's name, which is longer, is valid too.
struct TrashName {
  std::string item() const {
    std::string end = number > 1 ? '.' + std::to_string(number) : "";
    auto [start, extension] = path::splitExtension(name);
    if (!extension.empty() && end.size() + 1 + extension.size() < room) {
      end += '.';
      end += extension;
    } else {
      start = name;
    }
    return std::string(utf8::cut(start, room - end.size())) + end;
  }
  std::string entry() const { return item().append(entryExtension); }

  std::string_view name;
  unsigned number = 1;
  std::size_t room = NAME_MAX - entryExtension.size();
};

FileDescriptor createEntry(const TrashFolder& trash, TrashName& name) {
  // Some file systems allow only shorter names: each round tries half the length.
  constexpr std::size_t shortest = 16;
  FileDescriptor entry;
  do {
    entry = trash.info().createFile(name.entry().c_str(), S_IRUSR | S_IWUSR);
  } while (entry.error() == ENAMETOOLONG && (name.room /= 2) > shortest);
  return entry;
}

// Returns 0 or the `errno`: EEXIST if the new name is taken, see `Folder::rename`.
int moveItem(const ItemPlace& place, const Folder& files, const std::string& newName) {
  const char* const name = place.name.c_str();
  struct stat status;
  if (place.folder.statusOf(name, status) != 0 || identityOf(status) != place.item) {
    return ESTALE;  // another item may have taken its place
  }
  int error = place.folder.rename(name, files, newName.c_str());
  // Moving a folder to another parent needs write permission for it, which its owner can add.
  const mode_t mode = status.st_mode;
  if (error == EACCES && S_ISDIR(mode) && (mode & S_IWUSR) == 0 &&
      place.folder.setPermissionsOf(name, mode | S_IWUSR) == 0) {
    error = place.folder.rename(name, files, newName.c_str());
    if (error == 0) {
      files.setPermissionsOf(newName.c_str(), mode);
    } else {
      place.folder.setPermissionsOf(name, mode);
    }
  }
  return error;
}

// The entry and its name must be on disk before the item moves. Otherwise a crash could leave an
// item without an entry in the Trash, and nobody would know where it came from.
int writeEntryAndMoveItem(const TrashFolder& trash, const std::string& newName,
                          std::string_view text, int entry, const ItemPlace& place) {
  int error = writeAll(entry, std::as_bytes(std::span(text)));
  error = error == 0 ? syncToDisk(entry) : error;
  error = error == 0 ? trash.info().sync() : error;
  return error == 0 ? moveItem(place, trash.files(), newName) : error;
}

int moveWithEntry(const ItemPlace& place, const TrashFolder& trash, const std::string& text) {
  TrashName name{.name = place.name};
  // A limit, so that others who take the names meanwhile cannot keep this loop going.
  constexpr unsigned mostNames = 100000;
  int error = EEXIST;
  for (; error == EEXIST && name.number <= mostNames; ++name.number) {
    const FileDescriptor entry = createEntry(trash, name);
    error = entry.isOpen() ? writeEntryAndMoveItem(trash, name.item(), text, entry.get(), place)
                           : entry.error();
    if (entry.isOpen() && error != 0) {
      trash.info().unlink(name.entry().c_str());
    }
  }
  return error;
}

// Returns EXDEV if the item cannot go to this Trash but may go to another one.
int moveTo(Trash which, const ItemPlace& place) {
  TrashFolder trash;
  int error = trash.open(which, place);
  error = error == 0 ? moveWithEntry(place, trash, entryOf(place, which)) : error;
  if (error == 0) {
    trash.keep();
  }
  return error;
}

bool moveToTrash(const ItemPlace& place) {
  // Tries again if a folder is gone: another caller whose move has failed removes the empty folders
  // that it created, even while they are open here.
  constexpr int mostRounds = 10;
  int error = ENOENT;
  for (int round = 0; error == ENOENT && round < mostRounds; ++round) {
    error = EXDEV;
    for (const Trash which : {Trash::home, Trash::shared, Trash::own}) {
      error = error == EXDEV ? moveTo(which, place) : error;
    }
  }
  return error == 0;
}

}  // namespace
}  // namespace ox

bool OXMoveFileToTrashSync(OXStringView path) {
  OXFileReference item;
  ox::ItemPlace place;
  return OXReferenceFromPath(item, path) && ox::findPlace(item, place) && ox::findTrashes(place) &&
         ox::moveToTrash(place);
}

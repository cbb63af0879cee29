// Moving items to the Trash of the desktop (freedesktop.org Trash 1.0). Each has two files there:
// an entry that says where it came from, and the item itself under the same name. The entry is made
// first, exclusively, and on every later failure it is taken back, as are the folders that were
// made.
//
// This is not left to GIO, because that moves the item although its entry is empty when the disk is
// full, takes no names that are too long for an entry's, and finally brings up the process's file
// system services, daemon and threads included.

#include "OrvexKit/OXFileUtil.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

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

// Empty when it cannot be resolved.
std::string realPath(std::string_view path) {
  std::array<char, PATH_MAX> resolved;
  return std::string(
      files::resolvePath(PathBuffer(path.empty() ? "." : path), resolved).value_or(""));
}

// The folder's links are followed, the item's own is not; "." and ".." lead to a folder with a
// name.
std::optional<ItemPlace> placeOf(const OXFileReference& item) {
  const std::string_view last = path::lastComponent(item.path);
  const std::string path = last == "." || last == ".." ? realPath(item.path) : item.path;
  ItemPlace place{
      .path = realPath(path::deletingLastComponent(path)),
      .name = std::string(path::lastComponent(path)),
      .folder = {},
      .item = {.device = static_cast<dev_t>(item.device), .inode = static_cast<ino_t>(item.inode)}};
  const bool isOpen = Folder::open(place.path.c_str(), Folder::Access::use, Folder::Links::refuse,
                                   place.folder) == 0;
  return isOpen && !place.name.empty() ? std::optional(std::move(place)) : std::nullopt;
}

// A path as entries have it: as in a URL, byte by byte (RFC 2396).
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

std::string entryOf(const ItemPlace& place, std::string_view top) {
  std::string path = path::appendingComponent(place.path, place.name);
  if (path.starts_with(top)) {
    path.erase(0, top.size());
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

// The names that an item may have in the Trash: its own, then with numbers before the extension, so
// that it is still taken for what it is. No longer than that its entry's name fits as well.
class TrashName {
 public:
  explicit TrashName(std::string_view name) noexcept : name_(name) {}

  const std::string& item() const noexcept { return item_; }
  const std::string& entry() const noexcept { return entry_; }

  void goOn() {
    ++number_;
    write();
  }

  // For a file system that takes shorter names than most. False when there is nothing left to cut.
  bool shorten() {
    constexpr std::size_t shortest = 16;
    room_ /= 2;
    write();
    return room_ > shortest;
  }

 private:
  void write() {
    std::string end = number_ > 1 ? '.' + std::to_string(number_) : "";
    std::string_view start = name_;
    const std::string_view extension = path::extension(name_);
    if (!extension.empty() && end.size() + 1 + extension.size() < room_) {
      start = path::deletingExtension(name_);
      end += '.';
      end += extension;
    }
    item_ = utf8::cut(start, room_ - end.size());
    item_ += end;
    entry_ = item_;
    entry_ += entryExtension;
  }

  std::string_view name_;
  std::size_t room_ = NAME_MAX - entryExtension.size();
  unsigned number_ = 0;
  std::string item_;
  std::string entry_;
};

int createEntry(const TrashFolder& trash, TrashName& name, FileDescriptor& entry) {
  int error = 0;
  do {
    error = trash.info.createFile(name.entry().c_str(), S_IRUSR | S_IWUSR, entry);
  } while (error == ENAMETOOLONG && name.shorten());
  return error;
}

// A folder changes its parent only when it may be written itself. Its owner may see to that.
int renameReadOnlyFolder(const ItemPlace& place, mode_t mode, const Folder& files,
                         const char* newName) {
  const char* const name = place.name.c_str();
  if (place.folder.setPermissionsOf(name, mode | S_IWUSR) != 0) {
    return EACCES;
  }
  const int error = place.folder.rename(name, files, newName);
  if (error == 0) {
    files.setPermissionsOf(newName, mode);
  } else {
    place.folder.setPermissionsOf(name, mode);
  }
  return error;
}

// What lies under the new name already stays there.
int moveItem(const ItemPlace& place, const Folder& files, const std::string& newName) {
  struct stat status;
  const bool isThere = place.folder.statusOf(place.name.c_str(), status) == 0;
  if (!isThere || identityOf(status) != place.item) {
    return ESTALE;  // another item may have taken its place
  }
  const int error = place.folder.rename(place.name.c_str(), files, newName.c_str());
  const bool isReadOnlyFolder = S_ISDIR(status.st_mode) && (status.st_mode & S_IWUSR) == 0;
  return error == EACCES && isReadOnlyFolder
             ? renameReadOnlyFolder(place, status.st_mode, files, newName.c_str())
             : error;
}

// An item must not be in the Trash before its entry is on the disk, and the entry's name: nobody
// would know any more where it came from.
int writeEntryAndMoveItem(const TrashFolder& trash, const TrashName& name, std::string_view text,
                          int entry, const ItemPlace& place) {
  int error = writeAll(entry, std::as_bytes(std::span(text)));
  error = error == 0 ? syncToDisk(entry) : error;
  error = error == 0 ? trash.info.sync() : error;
  return error == 0 ? moveItem(place, trash.files, name.item()) : error;
}

int moveWithEntry(const ItemPlace& place, const TrashFolder& trash) {
  const std::string text = entryOf(place, trash.top);
  TrashName name(place.name);
  // Each name is tried once: somebody who takes them all along with us is not waited for.
  constexpr int mostNames = 100000;
  int error = EEXIST;
  for (int i = 0; error == EEXIST && i < mostNames; ++i) {
    name.goOn();
    FileDescriptor entry;
    error = createEntry(trash, name, entry);
    if (error == 0) {
      error = writeEntryAndMoveItem(trash, name, text, entry.get(), place);
      if (error != 0) {
        trash.info.unlink(name.entry().c_str());
      }
    }
  }
  return error;
}

// EXDEV when the item cannot go to this Trash but may go to another one.
int moveTo(ItemWay::Trash which, const ItemWay& way, const ItemPlace& place) {
  TrashFolder trash;
  int error = way.open(which, trash);
  if (error != 0) {
    return error == ENOENT ? ENOENT : EXDEV;
  }
  error = moveWithEntry(place, trash);
  if (error == 0) {
    trash.made.keep();
  }
  return error;
}

int moveToTrash(const ItemPlace& place) {
  using Trash = ItemWay::Trash;
  ItemWay way;
  int error = way.follow(place);
  if (error != 0) {
    return error;
  }
  // Another caller, whose own move was refused, may remove empty folders that it made and this one
  // has opened.
  constexpr int mostRounds = 10;
  error = ENOENT;
  for (int round = 0; error == ENOENT && round < mostRounds; ++round) {
    error = EXDEV;
    for (const Trash which : {Trash::home, Trash::shared, Trash::own}) {
      error = error == EXDEV ? moveTo(which, way, place) : error;
    }
  }
  return error;
}

}  // namespace
}  // namespace ox

bool OXMoveFileToTrashSync(OXStringView path) {
  OXFileReference item;
  if (!OXReferenceFromPath(item, path)) {
    return false;
  }
  const std::optional<ox::ItemPlace> place = ox::placeOf(item);
  return place && ox::moveToTrash(*place) == 0;
}

// Moving items to the Trash of the desktop (freedesktop.org Trash 1.0). Each has two files there:
// an entry that says where it came from, and the item itself under the same name. The entry is made
// first, exclusively, and on every later failure it is taken back.
//
// This is not left to GIO, because that moves the item although its entry is empty when the disk is
// full, takes no names that are too long for an entry's, and finally brings up the process's file
// system services, daemon and threads included.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "OrvexKit/OXFileUtil.h"
#include "fileinfo/TrashFolder.h"
#include "platform/coding/UTF8.h"
#include "platform/files/FileDescriptor.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"
#include "platform/files/System.h"

namespace {

using namespace ox;

constexpr std::string_view entryExtension = ".trashinfo";

// Where an item is, with the folder open: its path without links, and the name in it.
struct Place {
  std::string folder;
  std::string name;
  FileDescriptor descriptor;
};

std::optional<std::string> realPath(std::string_view path) {
  std::array<char, PATH_MAX> resolved;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  const OXStringView real = files::resolvePath(PathBuffer(path.empty() ? "." : path), resolved);
  return real ? OXString(*real) : std::nullopt;
}

// The folder's links are followed, the item's own is not; "." and ".." lead to a folder with a
// name.
std::optional<Place> placeOf(std::string_view path) {
  std::string_view name = path::lastComponent(path);
  std::string_view parent = path::deletingLastComponent(path);
  std::optional<std::string> whole;
  if (name == "." || name == "..") {
    whole = realPath(path);
    name = whole ? path::lastComponent(*whole) : std::string_view();
    parent = whole ? path::deletingLastComponent(*whole) : std::string_view();
  }
  std::optional<std::string> folder = name.empty() ? std::nullopt : realPath(parent);
  if (!folder) {
    return std::nullopt;
  }
  FileDescriptor descriptor(sys::open(folder->c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor.isOpen()) {
    return std::nullopt;
  }
  return Place{
      .folder = *std::move(folder), .name = std::string(name), .descriptor = std::move(descriptor)};
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

std::string entryOf(const Place& place, std::string_view top) {
  std::string path = path::appendingComponent(place.folder, place.name);
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

  const std::string& entry() const noexcept { return entry_; }
  std::string item() const { return entry_.substr(0, entry_.size() - entryExtension.size()); }

  void goOn() {
    ++number_;
    write();
  }

  // For a file system that takes shorter names than most. False when there is nothing left to cut.
  bool shorten() {
    room_ /= 2;
    write();
    return room_ > shortest;
  }

 private:
  static constexpr std::size_t shortest = 16;

  void write() {
    std::string end;
    if (number_ > 1) {
      end = '.' + std::to_string(number_);
    }
    const std::string_view extension = path::extension(name_);
    const bool hasRoom = end.size() + 1 + extension.size() < room_;
    std::string_view start = name_;
    if (!extension.empty() && hasRoom) {
      start = path::deletingExtension(name_);
      end += '.';
      end += extension;
    }
    entry_ = utf8::cut(start, room_ - end.size());
    entry_ += end;
    entry_ += entryExtension;
  }

  std::string_view name_;
  std::size_t room_ = NAME_MAX - entryExtension.size();
  unsigned number_ = 0;
  std::string entry_;
};

class TrashMove {
 public:
  TrashMove(const OXFileReference& item, const Place& place, const TrashFolder& trash)
      : item_(item), place_(place), trash_(trash), name_(place.name) {}

  bool run() {
    const std::string entry = entryOf(place_, trash_.top);
    // Each name is tried once: somebody who takes them all along with us is not waited for.
    constexpr int mostNames = 100000;
    for (int i = 0; i < mostNames; ++i) {
      name_.goOn();
      int error = createEntry(entry);
      if (error == 0) {
        error = moveItem();
        if (error == 0) {
          return true;
        }
        sys::unlinkat(trash_.info.get(), name_.entry().c_str(), 0);
      }
      if (error != EEXIST) {
        return false;
      }
    }
    return false;
  }

 private:
  // All give the error, or 0.

  int createEntry(std::string_view text) {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    int fd = -1;
    do {
      fd = sys::openat(trash_.info.get(), name_.entry().c_str(), flags, S_IRUSR | S_IWUSR);
    } while (fd < 0 && errno == ENAMETOOLONG && name_.shorten());
    if (fd < 0) {
      return errno;
    }
    const FileDescriptor file(fd);
    // An item must not be in the Trash before its entry is on the disk: nobody would know any more
    // where it came from.
    int error = writeAll(file.get(), std::as_bytes(std::span(text)));
    if (error == 0 && sys::fsync(file.get()) != 0) {
      error = errno;
    }
    if (error != 0) {
      sys::unlinkat(trash_.info.get(), name_.entry().c_str(), 0);
    }
    return error;
  }

  int moveItem() {
    struct stat status;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the call
    if (sys::fstatat(place_.descriptor.get(), place_.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) !=
        0) {
      return ENOENT;
    }
    if (status.st_dev != item_.device || status.st_ino != item_.inode) {
      return ENOENT;  // another item has taken its place
    }
    const int error = rename();
    const bool isReadOnlyFolder = S_ISDIR(status.st_mode) && (status.st_mode & S_IWUSR) == 0;
    return error == EACCES && isReadOnlyFolder ? renameReadOnlyFolder(status.st_mode) : error;
  }

  // What lies under the name already stays there.
  int rename() {
    const std::string name = name_.item();
    const int from = place_.descriptor.get();
    const int to = trash_.files.get();
    if (sys::renameat2(from, place_.name.c_str(), to, name.c_str(), RENAME_NOREPLACE) == 0) {
      return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
      return errno;
    }
    // Some file systems cannot look and rename at once.
    struct stat status;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the call
    if (sys::fstatat(to, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
      return EEXIST;
    }
    if (errno != ENOENT) {
      return errno;
    }
    return sys::renameat(from, place_.name.c_str(), to, name.c_str()) == 0 ? 0 : errno;
  }

  // A folder changes its parent only when it may be written itself. Its owner may see to that.
  int renameReadOnlyFolder(mode_t mode) {
    const auto setMode = [](int dirfd, const std::string& name, mode_t permissions) {
      return sys::fchmodat(dirfd, name.c_str(), permissions & 07777U, AT_SYMLINK_NOFOLLOW);
    };
    if (setMode(place_.descriptor.get(), place_.name, mode | S_IWUSR) != 0) {
      return EACCES;
    }
    const int error = rename();
    if (error == 0) {
      setMode(trash_.files.get(), name_.item(), mode);
    } else {
      setMode(place_.descriptor.get(), place_.name, mode);
    }
    return error;
  }

  const OXFileReference& item_;
  const Place& place_;
  const TrashFolder& trash_;
  TrashName name_;
};

struct FolderIdentity {
  dev_t device;
  ino_t inode;

  bool operator==(const FolderIdentity&) const = default;
};

std::optional<FolderIdentity> identityOf(const FileDescriptor& folder) noexcept {
  struct stat status;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the call
  if (sys::fstat(folder.get(), &status) != 0) {
    return std::nullopt;
  }
  return FolderIdentity{.device = status.st_dev, .inode = status.st_ino};
}

// What is in the Trash at any depth has its place there, and an item that moved out of the folder
// of the entries would leave half of one behind. False only if all folders on the way up are known
// to be others.
bool mayBeWithin(const TrashFolder& trash, const FileDescriptor& place) noexcept {
  const std::array<std::optional<FolderIdentity>, 3> trashFolders{
      identityOf(trash.folder), identityOf(trash.info), identityOf(trash.files)};
  if (!std::ranges::all_of(trashFolders, [](const auto& folder) { return folder.has_value(); })) {
    return true;
  }
  std::optional<FolderIdentity> below;
  std::optional<FolderIdentity> current = identityOf(place);
  FileDescriptor folder;
  while (current && current != below) {
    if (std::ranges::find(trashFolders, current) != trashFolders.end()) {
      return true;
    }
    const int child = folder.isOpen() ? folder.get() : place.get();
    folder = FileDescriptor(sys::openat(child, "..", O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
    below = current;
    current = folder.isOpen() ? identityOf(folder) : std::nullopt;
  }
  return !current;  // the root is its own parent
}

}  // namespace

bool OXMoveFileToTrashSync(OXStringView path) {
  OXFileReference item;
  if (!OXReferenceFromPath(item, path)) {
    return false;
  }
  const std::optional<Place> place = placeOf(item.path);
  if (!place) {
    return false;
  }
  const std::optional<TrashFolder> trash = openTrash(item.device, place->folder);
  return trash && !mayBeWithin(*trash, place->descriptor) && TrashMove(item, *place, *trash).run();
}

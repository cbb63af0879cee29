// SPDX-License-Identifier: MIT

#include "extraction/SafeExtractor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <tuple>
#include <vector>

#include "console/Failure.h"
#include "console/Printable.h"
#include "system/Files.h"
#include "system/PathText.h"

namespace oxarchive {
namespace {

// Some errors concern only this entry, others (a full disk) every entry after it too.
[[noreturn]] void fail(std::string_view path, int error) {
  switch (error) {
    case EISDIR:
      throw EntryFailure("a folder of this name is there already");
    case ENAMETOOLONG:
    case EINVAL:
    case EILSEQ:
    case EFBIG:
    case EMLINK:
    case EPERM:
    case ENOTSUP:
      throw EntryFailure(withSystemReason("cannot be made", error));
    default:
      throw ArchiveFailure(withSystemReason("cannot write " + printable(path), error));
  }
}

void restoreTimes(int folder, const char* name, const Times& restored) {
  if (!restored.accessed && !restored.modified) {
    return;
  }
  const timespec unchanged{.tv_sec = 0, .tv_nsec = UTIME_OMIT};
  const std::array<timespec, 2> times{restored.accessed.value_or(unchanged),
                                      restored.modified.value_or(unchanged)};
  if (name != nullptr) {
    ::utimensat(folder, name, times.data(), AT_SYMLINK_NOFOLLOW);
  } else {
    ::futimens(folder, times.data());
  }
}

// Drops the set-user-ID, set-group-ID and sticky bits.
mode_t permissionsOf(const Entry& entry) {
  return entry.mode & 0777U;
}

void writeAt(int file, Bytes bytes, std::uint64_t offset, std::string_view path) {
  while (!bytes.empty()) {
    if (offset > static_cast<std::uint64_t>(INT64_MAX) - bytes.size()) {
      fail(path, EFBIG);
    }
    const ssize_t count = retried(
        [&] { return ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset)); });
    if (count < 0) {
      fail(path, errno);
    }
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
}

// The path of a hard link's target.
std::string pathOfLinked(const Entry& entry) {
  std::string path;
  try {
    path = pathInFolder(entry.linkTarget);
  } catch (const EntryFailure&) {
    // Reported below.
  }
  if (path.empty()) {
    throw EntryFailure("it is a link that leads out of the folder: " + printable(entry.linkTarget));
  }
  return path;
}

int createFile(int parent, const std::string& name, mode_t permissions) {
  return ::openat(parent, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                  permissions);
}

void removeFiles(int folder) {
  const FolderStream stream = listFolder(folder);
  if (!stream) {
    return;
  }
  while (const char* const name = nextName(stream)) {
    ::unlinkat(folder, name, 0);
  }
}

// Writes the entry's data, and a hole at its end if there is one. Returns the size.
std::uint64_t writeData(int file, const Entry& entry, const SafeExtractor::ReadData& readData) {
  std::uint64_t end = 0;
  while (const std::optional<DataBlock> block = readData()) {
    if (block->offset < end) {
      throw EntryFailure("its data overlaps");
    }
    writeAt(file, block->bytes, block->offset, entry.path);
    end = block->offset + block->bytes.size();
  }
  if (entry.size && *entry.size != end) {
    if (!entry.hasHoleAtEnd || *entry.size < end) {
      throw EntryFailure("its data does not have the size that the archive says");
    }
    end = *entry.size;
    if (::ftruncate(file, static_cast<off_t>(end)) != 0) {
      fail(entry.path, errno);
    }
  }
  return end;
}

}  // namespace

std::uint64_t SafeExtractor::extract(const Entry& entry, const ReadData& readData) {
  const std::string path = pathInFolder(entry.path);
  if (path.empty() && entry.kind != EntryKind::folder) {
    throw EntryFailure("it has no name");
  }
  switch (entry.kind) {
    case EntryKind::folder:
      makeFolder(path, entry);
      return 0;
    case EntryKind::file:
      return makeFile(path, entry, readData);
    case EntryKind::hardLink:
      return makeHardLink(path, entry, readData);
    case EntryKind::symbolicLink:
      makeSymbolicLink(path, entry.linkTarget, entry.times);
      return 0;
    case EntryKind::other:
      break;
  }
  throw EntryFailure("devices, pipes and sockets are not extracted");
}

// Removes a file or link; a folder is an error.
void SafeExtractor::removeEarlier(int parent, const std::string& path) {
  if (::unlinkat(parent, std::string(nameOf(path)).c_str(), 0) != 0 && errno != ENOENT) {
    fail(path, errno);
  }
  links_.erase(path);
}

// Calls `make`, which creates an item exclusively and returns a negative number on failure. If the
// name is taken, removes the earlier item and tries once more.
template <typename Make>
int SafeExtractor::replaceEarlier(int parent, const std::string& path, Make make) {
  int result = make();
  if (result < 0 && errno == EEXIST) {
    removeEarlier(parent, path);
    result = make();
  }
  if (result < 0) {
    fail(path, errno);
  }
  return result;
}

int SafeExtractor::openParent(std::string_view path, Missing missing) {
  return openFolder(parentOf(path), missing);
}

int SafeExtractor::openFolder(std::string_view path, Missing missing) {
  if (path.empty()) {
    return top_.get();
  }
  if (last_.isOpen() && path == lastPath_) {
    return last_.get();
  }
  // Start at the last folder if it is an ancestor.
  const bool isBelowLast =
      last_.isOpen() && path.starts_with(lastPath_) && path[lastPath_.size()] == '/';
  std::size_t end = isBelowLast ? lastPath_.size() : 0;
  Descriptor folder;
  while (end < path.size()) {
    end = std::min(path.find('/', end + 1), path.size());
    const int parent = folder.isOpen() ? folder.get() : isBelowLast ? last_.get() : top_.get();
    folder = openChild(parent, path.substr(0, end), missing);
  }
  last_ = std::move(folder);
  lastPath_ = path;
  return last_.get();
}

Descriptor SafeExtractor::openChild(int parent, std::string_view path, Missing missing) {
  const std::string name(nameOf(path));
  Descriptor folder(::openat(parent, name.c_str(), folderFlags));
  if (!folder.isOpen() && errno == ENOENT && missing == Missing::make) {
    if (::mkdirat(parent, name.c_str(), 0700) != 0 && errno != EEXIST) {
      fail(path, errno);
    }
    folders_.emplace(path, FolderAttributes());
    folder = Descriptor(::openat(parent, name.c_str(), folderFlags));
  }
  if (!folder.isOpen() && (errno == ENOTDIR || errno == ELOOP || errno == ENOENT)) {
    throw EntryFailure("its path leads through " + printable(path) + ", which is not a folder");
  }
  if (!folder.isOpen()) {
    fail(path, errno);
  }
  return folder;
}

void SafeExtractor::makeFolder(const std::string& path, const Entry& entry) {
  if (path.empty()) {
    return;  // its attributes are the user's, not the archive's
  }
  const int parent = openParent(path, Missing::make);
  const std::string name(nameOf(path));
  struct ::stat status {};
  if (::fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
      !S_ISDIR(status.st_mode)) {
    removeEarlier(parent, path);
  }
  openFolder(path, Missing::make);
  folders_[path] = {permissionsOf(entry), entry.times};
}

std::uint64_t SafeExtractor::makeFile(const std::string& path, const Entry& entry,
                                      const ReadData& readData) {
  const int parent = openParent(path, Missing::make);
  const std::string name(nameOf(path));
  Descriptor file(replaceEarlier(parent, path, [&] { return createFile(parent, name, 0600); }));
  return fillFile(file, parent, path, entry, readData);
}

std::uint64_t SafeExtractor::fillFile(Descriptor& file, int parent, const std::string& path,
                                      const Entry& entry, const ReadData& readData) const {
  try {
    const std::uint64_t size = writeData(file.get(), entry, readData);
    ::fchmod(file.get(), permissionsOf(entry) & ~mask_);
    restoreTimes(file.get(), nullptr, entry.times);
    if (!file.close()) {
      fail(path, errno);
    }
    return size;
  } catch (...) {
    // A partial file must not look complete, not even by another hard link.
    std::ignore = ::ftruncate(file.get(), 0);
    ::unlinkat(parent, std::string(nameOf(path)).c_str(), 0);
    throw;
  }
}

std::uint64_t SafeExtractor::makeHardLink(const std::string& path, const Entry& entry,
                                          const ReadData& readData) {
  const std::string target = pathOfLinked(entry);
  // A relative target means something else in another folder, so it is checked again.
  if (const auto linked = links_.find(target); linked != links_.end()) {
    const Link link = linked->second;
    makeSymbolicLink(path, link.target, link.times);
    return 0;
  }
  const std::string targetName(nameOf(target));
  // A duplicate: opening the new name's folder may close the original.
  const Descriptor targetFolder(::fcntl(openParent(target, Missing::refuse), F_DUPFD_CLOEXEC, 0));
  struct ::stat status {};
  if (::fstatat(targetFolder.get(), targetName.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
      !S_ISREG(status.st_mode)) {
    throw EntryFailure("it is a link to " + printable(target) + ", which was not extracted");
  }
  const int parent = openParent(path, Missing::make);
  const std::string name(nameOf(path));
  if (path != target) {
    replaceEarlier(parent, path, [&] {
      return ::linkat(targetFolder.get(), targetName.c_str(), parent, name.c_str(), 0);
    });
  }
  return fillLinkedFile(parent, path, entry, readData);
}

// Some formats store the data of a file with its last hard link.
std::uint64_t SafeExtractor::fillLinkedFile(int parent, const std::string& path, const Entry& entry,
                                            const ReadData& readData) {
  std::optional<DataBlock> first = readData();
  if (!first) {
    return 0;
  }
  const std::string name(nameOf(path));
  std::ignore = ::fchmodat(parent, name.c_str(), 0600, 0);
  Descriptor file(::openat(parent, name.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!file.isOpen() || ::ftruncate(file.get(), 0) != 0) {
    fail(path, errno);
  }
  return fillFile(file, parent, path, entry,
                  [&] { return first ? std::exchange(first, std::nullopt) : readData(); });
}

void SafeExtractor::makeSymbolicLink(const std::string& path, const std::string& target,
                                     const Times& times) {
  if (target.empty()) {
    throw EntryFailure("it is a link without a target");
  }
  const Link link{target, times, !linkStaysInFolder(path, target)};
  if (link.isDelayed) {
    const int parent = openParent(path, Missing::make);
    const Descriptor place(replaceEarlier(
        parent, path, [&] { return createFile(parent, std::string(nameOf(path)), 0); }));
  } else {
    placeSymbolicLink(path, link, Missing::make);
  }
  links_[path] = link;
}

void SafeExtractor::placeSymbolicLink(const std::string& path, const Link& link, Missing missing) {
  const int parent = openParent(path, missing);
  const std::string name(nameOf(path));
  replaceEarlier(parent, path,
                 [&] { return ::symlinkat(link.target.c_str(), parent, name.c_str()); });
  restoreTimes(parent, name.c_str(), link.times);
}

std::vector<std::string> SafeExtractor::makeDelayedLinks(const LinkFailed& failed) {
  const Links links = std::exchange(links_, {});
  std::vector<std::string> made;
  if (std::ranges::none_of(links, [](const auto& each) { return each.second.isDelayed; })) {
    return made;
  }
  for (const auto& [path, link] : links) {
    try {
      if (link.isDelayed) {
        removeFile(path);
        placeSymbolicLink(path, link, Missing::refuse);
      }
      made.push_back(path);
    } catch (const std::runtime_error& failure) {
      failed(path, failure.what());
    }
  }
  return made;
}

void SafeExtractor::finish() {
  for (const auto& [path, attributes] : folders_) {
    try {
      const int folder = openFolder(path, Missing::refuse);
      restoreTimes(folder, nullptr, attributes.times);
      ::fchmod(folder, attributes.permissions & ~mask_);
    } catch (const std::runtime_error&) {
      // Another process has removed the folder.
    }
  }
}

void SafeExtractor::removeFile(const std::string& path) {
  const std::string inFolder = pathInFolder(path);
  removeEarlier(openParent(inFolder, Missing::refuse), inFolder);
}

void SafeExtractor::discard() {
  for (const auto& [path, attributes] : folders_) {
    try {
      removeFiles(openFolder(path, Missing::refuse));
      ::unlinkat(openParent(path, Missing::refuse), std::string(nameOf(path)).c_str(),
                 AT_REMOVEDIR);
    } catch (const std::runtime_error&) {
      // It is gone already.
    }
  }
  removeFiles(top_.get());
}

}  // namespace oxarchive

// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "reading/Entry.h"
#include "system/Files.h"

namespace oxarchive {

// Writes entries into one folder and nowhere else. Each path component is opened relative to the
// one before it and never through a symbolic link, so neither a name nor an earlier entry's link
// leads out of the folder. Symbolic links that may lead out are made last, so that nothing is
// written through one; until then an empty file takes their place.
//
// Permissions are the archive's, without set-user-ID, set-group-ID and sticky bits and with the
// process's umask applied. Times are restored where the file system can. Owners, access control
// lists, extended attributes and file flags are not. Devices, pipes and sockets are refused.
class SafeExtractor {
 public:
  // `folder` is an open, empty folder, which stays open; `mask` is the umask.
  SafeExtractor(const Descriptor& folder, mode_t mask) : top_(folder), mask_(mask) {}
  SafeExtractor(Descriptor&& folder, mode_t mask) = delete;

  // Returns the next block of the entry's data, or no value at the end.
  using ReadData = std::function<std::optional<DataBlock>()>;

  // Makes the entry and returns the size of its data. It replaces an earlier entry of the same
  // name, but never a folder. Throws EntryFailure if only this entry cannot be made, ArchiveFailure
  // if no other could be made either; nothing is left of it.
  std::uint64_t extract(const Entry& entry, const ReadData& readData);

  // Takes the path of a symbolic link that cannot be made, and the reason.
  using LinkFailed = std::function<void(const std::string&, const std::string&)>;

  // Makes the symbolic links that may lead out of the folder. If there are any, returns the paths
  // of all symbolic links, since others may lead out through them. Call once, after the last entry.
  std::vector<std::string> makeDelayedLinks(const LinkFailed& failed);

  // Sets the permissions and times of the folders, once everything in them is made. Call once, at
  // the end.
  void finish();

  // Removes the file or link at `path`, which is as in the archive.
  void removeFile(const std::string& path);

  // Removes everything in the folder, in place of `finish`.
  void discard();

 private:
  struct FolderAttributes {
    mode_t permissions = 0777;
    Times times{};
  };

  struct Link {
    std::string target;
    Times times;
    bool isDelayed;
  };
  using Links = std::map<std::string, Link>;

  enum class Missing { make, refuse };

  int openParent(std::string_view path, Missing missing);
  int openFolder(std::string_view path, Missing missing);
  Descriptor openChild(int parent, std::string_view path, Missing missing);
  void makeFolder(const std::string& path, const Entry& entry);
  std::uint64_t makeFile(const std::string& path, const Entry& entry, const ReadData& readData);
  std::uint64_t fillFile(Descriptor& file, int parent, const std::string& path, const Entry& entry,
                         const ReadData& readData) const;
  std::uint64_t makeHardLink(const std::string& path, const Entry& entry, const ReadData& readData);
  std::uint64_t fillLinkedFile(int parent, const std::string& path, const Entry& entry,
                               const ReadData& readData);
  void makeSymbolicLink(const std::string& path, const std::string& target, const Times& times);
  void placeSymbolicLink(const std::string& path, const Link& link, Missing missing);
  void removeEarlier(int parent, const std::string& path);
  template <typename Make>
  int replaceEarlier(int parent, const std::string& path, Make make);

  const Descriptor& top_;
  mode_t mask_;
  // The folders that were made, a folder after those in it.
  std::map<std::string, FolderAttributes, std::greater<>> folders_;
  Links links_;  // the symbolic ones
  // The folder that was opened last, cached because entries come folder by folder.
  std::string lastPath_;
  Descriptor last_;
};

}  // namespace oxarchive

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
#include "system/Descriptor.h"

namespace oxarchive {

// Writes entries into one folder and nowhere else. Every component on the way to an entry is opened
// from the one before it and never through a link, so neither a name nor a link that an earlier
// entry has made leads out of the folder. Symbolic links that may lead out are made when everything
// else is, so that nothing can be written through one; an empty file keeps their place.
//
// Permissions are what the archive has without set-user-ID, set-group-ID and sticky bits, less what
// the process's mask takes away; times are restored where the file system can. Owners, access
// lists, extended attributes and file flags are not. Devices, pipes and sockets are refused.
class SafeExtractor {
 public:
  // `folder` is an open, empty folder, `mask` the permissions that new files do not get.
  SafeExtractor(Descriptor folder, mode_t mask) : top_(std::move(folder)), mask_(mask) {}

  // The next block of the entry's data, none at its end.
  using ReadData = std::function<std::optional<DataBlock>()>;

  // Makes what `entry` says, and gives the size of its data. A later entry replaces an earlier one
  // of its name, except that a folder stays a folder. Throws EntryFailure when this entry cannot be
  // made, and nothing is left of it; throws ArchiveFailure when no other could be made either.
  std::uint64_t extract(const Entry& entry, const ReadData& readData);

  // Makes the symbolic links that may lead out of the folder, and gives their paths in it. To be
  // called once, after the last entry.
  std::vector<std::string> makeDelayedLinks();

  // Gives the folders their permissions and times, which have to wait until everything in them is
  // made. To be called once, last of all.
  void finish();

  // Removes the file or link at `path`, an entry's own path.
  void removeFile(const std::string& path);

  // Removes everything in the folder instead.
  void discard();

 private:
  struct FolderAttributes {
    mode_t permissions = 0777;
    Times times{};
  };

  struct Link {
    std::string target;
    Times times{};
  };

  enum class Missing { make, refuse };

  int openParent(std::string_view path, Missing missing);
  int openFolder(std::string_view path, Missing missing);
  Descriptor openChild(int parent, std::string_view path, Missing missing);
  void makeFolder(const std::string& path, const Entry& entry);
  std::uint64_t makeFile(const std::string& path, const Entry& entry, const ReadData& readData);
  void finishFile(Descriptor& file, const std::string& path, const Entry& entry) const;
  std::uint64_t makeHardLink(const std::string& path, const Entry& entry, const ReadData& readData);
  std::uint64_t fillLinkedFile(int parent, const std::string& path, const Entry& entry,
                               const ReadData& readData);
  void makeSymbolicLink(const std::string& path, const Link& link);
  void placeSymbolicLink(const std::string& path, const Link& link, Missing missing);
  void removeEarlier(int parent, const std::string& path);
  template <typename Make>
  int replaceEarlier(int parent, const std::string& path, Make make);

  Descriptor top_;
  mode_t mask_;
  // The folders made, from the innermost outwards.
  std::map<std::string, FolderAttributes, std::greater<>> folders_;
  std::map<std::string, Link> delayedLinks_;
  // The folder that was opened last, since entries come folder by folder.
  std::string lastPath_;
  Descriptor last_;
};

}  // namespace oxarchive

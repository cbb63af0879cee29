// SPDX-License-Identifier: MIT

#include "platform/files/RemoveItem.h"

#include <array>
#include <cerrno>
#include <charconv>

#include "platform/files/DirectoryReader.h"
#include "platform/files/Folder.h"
#include "platform/files/Path.h"

namespace ox::files {
namespace {

// Works through open folders, so that replacing a folder by a symbolic link meanwhile leads nowhere
// else. All functions that return `int` return 0 or the `errno`.
class FolderRemover {
 public:
  // `isFolder` is a guess. A wrong one costs another call.
  int remove(const Folder& in, const char* name, bool isFolder, int level = 0) noexcept {
    int error = removeEmpty(in, name, isFolder);
    if (error == ENOTEMPTY || error == EEXIST) {
      error = level <= deepestLevel ? removeFull(in, name, level) : moveToTop(in, name);
    }
    changes_ += error == 0 ? 1 : 0;
    return error;
  }

 private:
  // Each level takes one descriptor, and a buffer on the stack.
  static constexpr int deepestLevel = 5;
  static constexpr std::size_t bufferSize = 2048;

  using Name = std::array<char, 24>;

  static Name deepName(unsigned number) noexcept {
    Name name{".deep."};
    std::to_chars(name.data() + 6, name.data() + name.size() - 1, number);
    return name;
  }

  static int removeEmpty(const Folder& in, const char* name, bool isFolder) noexcept {
    const auto removeAs = [&](bool folder) {
      return folder ? in.removeFolder(name) : in.unlink(name);
    };
    int error = removeAs(isFolder);
    // The folder `in` may be read-only, which its owner can change.
    if (error == EACCES && in.setPermissions(0700) == 0) {
      error = removeAs(isFolder);
    }
    return error == ENOTDIR || error == EISDIR ? removeAs(!isFolder) : error;
  }

  static Folder openFull(const Folder& in, const char* name) noexcept {
    Folder folder = in.openFolder(name, Folder::Access::list);
    if (folder.error() == EACCES && in.setPermissionsOf(name, 0700) == 0) {
      folder = in.openFolder(name, Folder::Access::list);
    }
    return folder;
  }

  int removeFull(const Folder& in, const char* name, int level) noexcept {
    const Folder folder = openFull(in, name);
    int error = folder.error();
    // Repeats a pass that removed something: it may have missed entries that were added or moved
    // meanwhile. Missing entries do not count, since a file system may keep listing them.
    bool isWorthAPass = error == 0;
    while (isWorthAPass) {
      const unsigned before = changes_;
      removeContents(folder, level + 1);
      error = in.removeFolder(name);
      isWorthAPass = (error == ENOTEMPTY || error == EEXIST) && changes_ != before &&
                     repeatedPasses_++ < mostRepeatedPasses;
    }
    return error;
  }

  void removeContents(const Folder& folder, int level) noexcept {
    const bool isTop = level == 1;
    top_ = isTop ? &folder : top_;
    folder.rewind();
    DirectoryReader<bufferSize> reader(folder);
    while (const std::optional<DirectoryEntry> entry = reader.next()) {
      remove(folder, entry->name, entry->type == DT_DIR, level);
    }
    for (; isTop && emptiedDeep_ != nextDeep_; ++emptiedDeep_) {
      remove(folder, deepName(emptiedDeep_).data(), true, level);
    }
    top_ = isTop ? nullptr : top_;
  }

  // Moves a folder below the deepest level to the top folder, which empties it later.
  int moveToTop(const Folder& in, const char* name) noexcept {
    bool madeWritable = false;
    for (int tries = 0; tries < mostNames; ++tries) {
      const int error = in.rename(name, *top_, deepName(nextDeep_).data());
      if (error == 0 || error == EEXIST) {
        ++nextDeep_;
      }
      // Moving a folder to another parent needs write permission for it.
      const bool mayNotBeWritten = error == EACCES && !madeWritable;
      madeWritable = mayNotBeWritten && in.setPermissionsOf(name, 0700) == 0;
      if (error != EEXIST && !madeWritable) {
        return error;
      }
    }
    return EEXIST;
  }

  static constexpr int mostNames = 1000;
  static constexpr int mostRepeatedPasses = 16;

  const Folder* top_ = nullptr;
  unsigned changes_ = 0;
  int repeatedPasses_ = 0;
  unsigned nextDeep_ = 0;     // the number of the next folder to move to the top
  unsigned emptiedDeep_ = 0;  // the number of the next of those to remove
};

}  // namespace

bool removeItem(const PathBuffer& path) noexcept {
  const std::string_view name = path::lastComponent(path.view());
  if (name.empty() || name == "." || name == ".." || !path.view().ends_with(name)) {
    return false;
  }
  const PathBuffer parent(path::deletingLastComponent(path.view()));
  const Folder folder = Folder::open(parent.view().empty() ? "." : parent.c_str(),
                                     Folder::Access::use, Folder::Links::follow);
  const int error =
      folder.isOpen() ? FolderRemover().remove(folder, name.data(), true) : folder.error();
  return error == 0 || error == ENOENT;
}

}  // namespace ox::files

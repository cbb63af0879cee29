// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXAtomic.h>
#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXString.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// A node in a tree that pairs paths inside an archive with files on disk. The name is the item's
/// path component in both; the physical path is the folder on disk that holds the item. Equality
/// and hash are by identity. Does not touch the disk.
///
/// Paths are joined with exactly one "/". Joined with an empty path, a path stays as it is.
///
/// A node owns its children and has no link to its parent. Releasing a tree of any depth needs
/// little stack; nodes below a released one may live until the outermost release returns. A cycle
/// is never released, because its nodes own each other.
///
/// Thread-safe: name, physical path and folder flag are read and written whole, and children may be
/// added, except to a list that another thread walks (see `addChild`) or reads through `children`.
/// \ingroup records
class OX_EXPORT OXDeltaNode : public OXObject {
 public:
  using List = std::vector<std::shared_ptr<OXDeltaNode>>;  ///< Nodes in an order.

  /// Called with the path inside the archive and the path on disk, which are valid during the call.
  using TraversalCallback =
      std::function<void(std::string_view relative, std::string_view disk, bool isFolder)>;

  OXDeltaNode();  ///< No name, no physical path, no children, not a folder.
  ~OXDeltaNode() override;

  /// The node's name, or null. The caller owns the copy.
  OXString name() const;
  /// Sets the node's name.
  void setName(OXStringView name);

  /// The folder on disk that holds the item, or null. The caller owns the copy.
  OXString physicalPath() const;
  /// Sets the folder on disk that holds the item.
  void setPhysicalPath(OXStringView physicalPath);

  /// Whether the item is a folder.
  bool isFolder() const noexcept { return isFolder_.get(); }
  /// Sets whether the item is a folder.
  void setIsFolder(bool isFolder) noexcept { isFolder_.set(isFolder); }

  /// The list of children itself, in the order of addition. Null until the first is added.
  std::shared_ptr<const List> children() const noexcept;

  /// Appends `node` to `children`, creating the list for the first. Ignores null. Does not check
  /// for duplicates, name clashes or cycles.
  ///
  /// Adding to a list that `traversePathsUsingBlock` is walking, in the callback or in another
  /// thread, is a fatal error: one line on standard error, then the process is aborted. The
  /// lists being walked are those that hold the reported node and its ancestors, not its own list.
  void addChild(std::shared_ptr<OXDeltaNode> node);

  /// Returns the first added child whose name is `name`, byte for byte, or null. Null for a null
  /// `name`, even if a child has none. A linear scan, which may miss a child added meanwhile.
  std::shared_ptr<OXDeltaNode> childNamed(OXStringView name) const;

  /// Returns the physical path joined with the name, or null if either is null.
  ///
  ///     physicalPath "/d", name "f"    => "/d/f"
  ///     physicalPath "/d/", name "f"   => "/d/f"
  ///     physicalPath "", name "f"      => "f"
  ///     physicalPath "/d", name ""     => "/d"
  ///     physicalPath null, name "f"    => null
  ///     physicalPath "/d", name null   => null
  OXString fullPathOnDisk() const;

  /// Walks the tree below this node in pre-order, siblings in the order of addition, and calls
  /// `callback` for each node that has a name and a physical path, with its path relative to this
  /// node and its full path on disk. A node without a physical path exists in the archive only: it
  /// is not reported, but its name is in the paths below it. A node without a name is not reported,
  /// and what is below it is reported as if in its place.
  ///
  ///     A ("/src") with B ("/src/A") below it  => ("A", "/src/A"), ("A/B", "/src/A/B")
  ///     X (no path) with F ("/d") below it     => ("X/F", "/d/F")
  ///     a nameless one with F ("/d") below it  => ("F", "/d/F")
  ///     nothing below                          => no call
  ///
  /// The callback may start further walks, also of this tree, may add children except to lists
  /// being walked (see `addChild`), and may release the tree. A child that it adds to the reported
  /// node is walked too, but not if that node had no children before. An exception from the
  /// callback ends the walk and is passed on. An empty callback walks nothing.
  ///
  /// Needs little stack for any depth. Allocates only the two paths and one entry for each level.
  /// A cycle is a fatal error (see `addChild`), found after at most two rounds through it.
  void traversePathsUsingBlock(const TraversalCallback& callback) const;

 private:
  class OX_INTERNAL ChildList;
  class OX_INTERNAL Walk;

  // What the lock guards: a snapshot of one moment.
  struct Contents {
    std::shared_ptr<const std::string> name;
    std::shared_ptr<const std::string> physicalPath;
    std::shared_ptr<ChildList> children;  // never changed once it is there
  };

  OX_INTERNAL Contents contents() const noexcept;
  OX_INTERNAL std::shared_ptr<ChildList> childList() const noexcept;

  Contents contents_;
  ox::AtomicScalar<bool> isFolder_{false};
  mutable std::atomic<std::uint32_t> lock_{0};
};

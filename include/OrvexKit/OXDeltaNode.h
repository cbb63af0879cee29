// A tree of what is to be archived: places inside an archive, and the files on disk for them.

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

// One item of the tree. Its name is both its component of the path inside the archive and its file
// name on disk, and its physical path is the folder on disk that holds it. Pure text: the disk is
// not touched. A fresh node has no name, no physical path and no children, and is no folder.
//
//   auto root = std::make_shared<OXDeltaNode>();
//   auto docs = std::make_shared<OXDeltaNode>();     // a folder of the archive alone
//   docs->setName("docs");
//   docs->setIsFolder(true);
//   auto note = std::make_shared<OXDeltaNode>();
//   note->setName("note.txt");
//   note->setPhysicalPath("/home/me");
//   root->addChild(docs);
//   docs->addChild(note);
//   root->traversePathsUsingBlock(
//       [](std::string_view relative, std::string_view disk, bool isFolder) { ... });
//                                     => ("docs/note.txt", "/home/me/note.txt", false)
//
// Paths are joined with exactly one "/", whatever slashes are at the seam; joining to an empty path
// gives the other one alone, and joining nothing to a path leaves it as it is.
//
// A node holds its children and knows no parent. The last owner of a node that lets it go releases
// all that it holds: a tree of any depth needs little stack for that. While nodes are being
// released, those below them may outlive them for a moment, until the release that began it all
// returns. A node that is put below itself is never released, as it holds itself.
//
// Two nodes are equal, and have the same hash, only when they are the same object.
//
// Thread safety: name, physical path and folder flag may be got and set from any number of threads
// at once, and are always read and written whole. Children may be added from any number of threads
// at once, but not to a list that is being walked, see `addChild`; who looks through the list that
// `children` gives makes sure that nobody adds to it meanwhile.
class OX_EXPORT OXDeltaNode : public OXObject {
 public:
  // Nodes in an order.
  using List = std::vector<std::shared_ptr<OXDeltaNode>>;

  // What a walk calls: the path inside the archive, the path on disk, and whether it is a folder.
  // Both paths are valid during the call only.
  using TraversalCallback =
      std::function<void(std::string_view relative, std::string_view disk, bool isFolder)>;

  // A node without name, physical path and children, which is no folder.
  OXDeltaNode();
  ~OXDeltaNode() override;

  // The node's name, or null. The result is the caller's own copy.
  OXString name() const;
  void setName(OXStringView name);

  // The folder on disk that holds the item, or null. The result is the caller's own copy.
  OXString physicalPath() const;
  void setPhysicalPath(OXStringView physicalPath);

  // Whether the item is a folder.
  bool isFolder() const noexcept { return isFolder_.get(); }
  void setIsFolder(bool isFolder) noexcept { isFolder_.set(isFolder); }

  // The children in the order they were added: the node's own list, which grows as they are added,
  // and the same one every time. Null until the first child is added.
  std::shared_ptr<const List> children() const noexcept;

  // Adds `node` at the end of `children`, which is made for the first one. A null `node` is not
  // added, and makes no list. Does not check for duplicates, name clashes or cycles.
  //
  // Adding to a list that is being walked by `traversePathsUsingBlock`, from the callback or from
  // another thread, is a fatal error: one line on standard error, and the process is aborted. The
  // lists on the way from where a walk started down to the node that it is at are being walked;
  // every other list may be added to.
  void addChild(std::shared_ptr<OXDeltaNode> node);

  // The first child, in the order they were added, whose name is `name`, byte for byte; null when
  // there is none. A null `name` is no child's, not even a nameless one's. A linear scan; a child
  // that is added meanwhile may or may not be found.
  std::shared_ptr<OXDeltaNode> childNamed(OXStringView name) const;

  // Where the item is on disk: the physical path joined with the name. Null when either is null.
  //
  //   physicalPath "/d", name "f"    => "/d/f"
  //   physicalPath "/d/", name "f"   => "/d/f"
  //   physicalPath "", name "f"      => "f"
  //   physicalPath "/d", name ""     => "/d"
  //   physicalPath null, name "f"    => null
  //   physicalPath "/d", name null   => null
  OXString fullPathOnDisk() const;

  // Walks what is below this node and calls `callback` for every node that has a physical path and
  // a name, with its path from here (this node's own name is no part of it) and its full path on
  // disk: each node before anything below it, and siblings in the order they were added.
  //
  // A node without a physical path is a folder of the archive alone: it is not reported, but its
  // name is part of the paths of those below it, and they are. A node without a name is not
  // reported either, since it has no place of its own: it adds nothing to the paths of those below
  // it, which are reported as if they were in its place.
  //
  //   A ("/src") with B ("/src/A") below it  => ("A", "/src/A"), ("A/B", "/src/A/B")
  //   X (no path) with F ("/d") below it     => ("X/F", "/d/F")
  //   a nameless one with F ("/d") below it  => ("F", "/d/F")
  //   nothing below                          => no call
  //
  // The callback may start walks of its own, of the same tree too, and may add children where no
  // walk is on its way (see `addChild`). A child that it adds to the node being reported is walked
  // as well, unless it is that node's first one: whether there is a list to walk is settled before
  // the call. What the callback throws ends the walk and is thrown on. An empty callback is never
  // called, and nothing is walked.
  //
  // A tree of any depth needs little stack. Apart from the two paths and one record for each level,
  // which grow to the longest path and the deepest level, the walk allocates nothing. What is being
  // walked stays alive, even if the callback lets go of the tree.
  //
  // A node that is below itself would have the walk go on for ever: that is a fatal error as well,
  // found after at most two rounds.
  void traversePathsUsingBlock(const TraversalCallback& callback) const;

 private:
  class OX_INTERNAL ChildList;
  class OX_INTERNAL Walk;

  // What the lock guards, all as it is at one moment.
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

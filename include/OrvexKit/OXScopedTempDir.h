// A private scratch folder that removes itself.

#pragma once

#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXReleaseScope.h>
#include <OrvexKit/platform/OXString.h>

// Owns one scratch folder, made by `OXCreateTemporaryDirectory` and open to the user alone, for
// exactly as long as the object lives.
//
//   OXScopedTempDir scratch;
//   if (scratch.path()) { ... }       // "/tmp/.orvx.k3Xw9a", say
//
// Thread safety: `path()` may be called from any number of threads at once.
class OX_EXPORT OXScopedTempDir : public OXObject {
 public:
  // Makes the folder. When none can be made the object is there all the same, and its path is null
  // (the reason's line is in the log, see `OXCreateTemporaryDirectory`).
  OXScopedTempDir();

  // Removes whatever lies at `path()`, with everything in it. A link is removed itself and never
  // followed, folders in it that the user may not write are removed too, what is already gone
  // counts as removed, and a failure is ignored. It gives up where others go on filling the folder.
  // It never throws. The copy of the object that a forked process has removes nothing, in whatever
  // namespaces it runs. Needs no /proc, and at most 40 KiB of stack.
  ~OXScopedTempDir() override;

  // The folder's path, or null when none could be made. It stays valid as long as the object.
  const OXString& path() const noexcept { return path_; }

  // Makes a folder whose owner is kept by `scope`, and gives its path, or null when none could be
  // made: the folder is there until `scope` ends, and is removed then.
  //
  //   OXScopedTempDir::path(OXReleaseScope::current())   => "/tmp/.orvx.k3Xw9a"
  static OXString path(OXReleaseScope& scope);

 private:
  OXString path_;
  int process_;  // tells the process that made it from its forked copies
};

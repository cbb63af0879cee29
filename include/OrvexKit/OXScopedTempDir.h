// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXReleaseScope.h>
#include <OrvexKit/platform/OXString.h>

/// A scratch folder that removes itself: `OXCreateTemporaryDirectory` creates it, accessible to the
/// user only, and it exists exactly as long as the object. `path()` is thread-safe.
///
///     OXScopedTempDir scratch;
///     if (scratch.path()) { ... }       // "/tmp/.orvx.k3Xw9a", say
/// \ingroup folders
class OX_EXPORT OXScopedTempDir : public OXObject {
 public:
  /// Creates the folder. On failure the path is null, and one line in the log says why.
  OXScopedTempDir();

  /// Removes the item at `path()` with everything in it, read-only folders too. Never follows a
  /// symbolic link: the link itself is removed. Counts a missing item as removed, ignores failures,
  /// and gives up if others keep filling the folder. Never throws. In a forked process, whatever
  /// its namespaces, removes nothing. Needs no /proc, and at most 40 KiB of stack.
  ~OXScopedTempDir() override;

  /// The folder's path, or null if it could not be created. Valid as long as the object.
  const OXString& path() const noexcept { return path_; }

  /// Creates a folder that `scope` removes when it ends. Returns its path, or null on failure.
  ///
  ///     OXScopedTempDir::path(OXReleaseScope::current())   => "/tmp/.orvx.k3Xw9a"
  static OXString path(OXReleaseScope& scope);

 private:
  OXString path_;
  int process_;  // tells the process that made it from its forked copies
};

// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXObject.h>

#include <cstddef>
#include <memory>
#include <vector>

/// Keeps objects alive until the scope ends, so that no caller has to own them. A new scope is the
/// thread's current one until it ends. Scopes nest like blocks, so a scope is a local variable or a
/// member of one, never created with `new`. Only the thread that opened a scope may use it.
///
///     {
///       OXReleaseScope scope;
///       OXString folder = OXScopedTempDir::path(OXReleaseScope::current());
///       ...                       // the folder exists
///     }                           // now it is removed, with everything in it
/// \ingroup types
class OX_EXPORT OXReleaseScope {
 public:
  OXReleaseScope();  ///< Opens a scope on the calling thread.
  /// Releases the deferred objects, the latest first, and what their destructors defer meanwhile.
  ~OXReleaseScope();
  OXReleaseScope(const OXReleaseScope&) = delete;
  OXReleaseScope& operator=(const OXReleaseScope&) = delete;
  static void* operator new(std::size_t) = delete;
  static void* operator new[](std::size_t) = delete;

  /// Returns the calling thread's innermost open scope, else its base scope, which ends with the
  /// thread, the main thread's in `exit`. Static destructors run later and must open their own.
  static OXReleaseScope& current();

  /// Keeps `object` until this scope ends. Ignores null. If memory is short, throws
  /// `std::bad_alloc` and releases `object` at once.
  void defer(std::shared_ptr<OXObject> object);

 private:
  OXReleaseScope* enclosing_;
  std::vector<std::shared_ptr<OXObject>> deferred_;
};

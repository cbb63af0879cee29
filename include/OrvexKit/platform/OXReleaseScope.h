// Release scopes: how long an object lives whose owner the caller never sees.
//
//   {
//     OXReleaseScope scope;
//     OXString folder = OXScopedTempDir::path(OXReleaseScope::current());
//     ...                       // the folder is there
//   }                           // and here it is gone, with everything in it

#pragma once

#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXObject.h>

#include <cstddef>
#include <memory>
#include <vector>

// A scope that keeps objects alive until it ends. Opening one makes it the calling thread's
// current scope; its end releases what was deferred to it, the latest first, and makes the scope
// around it the current one again. What a released object defers in its destructor while the
// scope ends is released by the same end.
//
// Scopes of one thread nest like blocks, so a scope can only be a local variable (or a member of
// one), never made with `new`.
//
// Thread safety: a scope belongs to the thread that opened it and is used by that thread alone.
class OX_EXPORT OXReleaseScope {
 public:
  // Opens a scope on the calling thread.
  OXReleaseScope();
  // Ends it, with everything that it keeps.
  ~OXReleaseScope();
  OXReleaseScope(const OXReleaseScope&) = delete;
  OXReleaseScope& operator=(const OXReleaseScope&) = delete;
  static void* operator new(std::size_t) = delete;
  static void* operator new[](std::size_t) = delete;

  // The innermost scope that is open on the calling thread. With none open it is the thread's base
  // scope, which ends with the thread (the main thread's ends in `exit`, before static objects are
  // destroyed; a static destructor that needs a scope opens one).
  static OXReleaseScope& current();

  // Keeps `object` until this scope ends; null is ignored. When there is no memory left to do so,
  // `std::bad_alloc` is thrown and `object` is released at once.
  void defer(std::shared_ptr<OXObject> object);

 private:
  OXReleaseScope* enclosing_;
  std::vector<std::shared_ptr<OXObject>> deferred_;
};

// SPDX-License-Identifier: MIT

#include "OrvexKit/platform/OXReleaseScope.h"

#include <cxxabi.h>

#include <utility>

extern "C" void* __dso_handle;  // NOLINT(bugprone-reserved-identifier)

namespace ox {
namespace {

thread_local OXReleaseScope* innermost = nullptr;

// The scope below all others of a thread, created when needed and destroyed when the thread ends.
// Not a `thread_local` variable, but registered for destruction like one: if a destructor needs a
// scope after this one has ended, another is created.
OXReleaseScope& openBaseScope() {
  auto* const base = ::new OXReleaseScope;  // its own `new` is deleted, since scopes are for blocks
  const auto close = [](void* scope) { ::delete static_cast<OXReleaseScope*>(scope); };
  abi::__cxa_thread_atexit(close, base, &__dso_handle);
  return *base;
}

}  // namespace
}  // namespace ox

OXReleaseScope::OXReleaseScope() : enclosing_(std::exchange(ox::innermost, this)) {}

OXReleaseScope::~OXReleaseScope() {
  while (!deferred_.empty()) {
    // Removed from the list first, since its destructor may defer more objects to this scope.
    const std::shared_ptr<OXObject> latest = std::move(deferred_.back());
    deferred_.pop_back();
  }
  ox::innermost = enclosing_;
}

OXReleaseScope& OXReleaseScope::current() {
  return ox::innermost != nullptr ? *ox::innermost : ox::openBaseScope();
}

void OXReleaseScope::defer(std::shared_ptr<OXObject> object) {
  if (object != nullptr) {
    deferred_.push_back(std::move(object));
  }
}

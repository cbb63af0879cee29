#include "OrvexKit/platform/OXReleaseScope.h"

#include <cxxabi.h>

#include <utility>

extern "C" void* __dso_handle;  // NOLINT(bugprone-reserved-identifier)

namespace ox {
namespace {

thread_local OXReleaseScope* innermost = nullptr;

// The scope below all others of a thread. It is made when first asked for and destroyed at the
// thread's end, through the run-time call behind `thread_local`: unlike such a variable it comes
// back when another one's destructor asks for a scope after it has ended.
OXReleaseScope& openBaseScope() {
  auto* const base = ::new OXReleaseScope;  // the class's own `new` is deleted: it is for blocks
  const auto close = [](void* scope) { ::delete static_cast<OXReleaseScope*>(scope); };
  abi::__cxa_thread_atexit(close, base, &__dso_handle);
  return *base;
}

}  // namespace
}  // namespace ox

OXReleaseScope::OXReleaseScope() : enclosing_(std::exchange(ox::innermost, this)) {}

OXReleaseScope::~OXReleaseScope() {
  while (!deferred_.empty()) {
    // Taken off the list first: its destructor may defer more to this very scope.
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

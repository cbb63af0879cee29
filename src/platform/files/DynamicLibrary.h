// Libraries that are brought in when they are first asked for, and never by loading OrvexKit: few
// processes need them, and each costs every process a millisecond at its start. They are
//
//   libcrypto.so.3    (OpenSSL 3)   for digests, see Md5.cpp
//   libgio-2.0.so.0   (GLib)        for kinds of documents and mounts, see Gio.cpp
//
// and no linker or packaging tool sees them as dependencies, so a package of OrvexKit has to name
// them itself. Without one of them what is said to need it fails as it does for a missing file.

#pragma once

#include <dlfcn.h>

#include <atomic>
#include <memory>

#include "platform/files/System.h"

namespace ox {

// The base of a class whose members are functions of the library, each initialised by `find`. Stays
// loaded for as long as the process runs: what it started may not be pulled away again.
class DynamicLibrary {
 public:
  // Whether the library is there, with all functions that were looked for and what else it needs.
  bool isUsable() const noexcept { return isUsable_; }

 protected:
  // A function's address, for a pointer to whatever type of function.
  struct Address {
    template <typename Function>
    operator Function*() const noexcept {
      return reinterpret_cast<Function*>(value);
    }
    void* value;
  };

  explicit DynamicLibrary(const char* name) noexcept
      : handle_(sys.dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

  Address find(const char* name) noexcept {
    // Without a library the handle would stand for the program itself.
    const Address found{handle_ != nullptr ? ::dlsym(handle_, name) : nullptr};
    isUsable_ = isUsable_ && found.value != nullptr;
    return found;
  }

 private:
  void* handle_;
  bool isUsable_ = true;
};

// The process's one `Library`, which is made when it is first asked for and kept until the process
// ends; null where it cannot be used. Unlike a local static it is tried for again after a failure,
// which may be a passing one (no descriptor left). Threads that ask at the same moment may make
// several, of which one is kept.
template <typename Library>
const Library* sharedLibrary() {
  static std::atomic<const Library*> shared{nullptr};
  if (const Library* const library = shared.load(std::memory_order_acquire)) {
    return library;
  }
  auto made = std::make_unique<const Library>();
  const Library* kept = nullptr;
  if (made->isUsable() && shared.compare_exchange_strong(kept, made.get())) {
    kept = made.release();
  }
  return kept;
}

}  // namespace ox

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

// Stays loaded for as long as the process runs: what it started may not be pulled away again.
class DynamicLibrary {
 public:
  explicit DynamicLibrary(const char* name) noexcept
      : handle_(sys.dlopen(name, RTLD_NOW | RTLD_LOCAL)), hasAll_(handle_ != nullptr) {}

  template <typename Function>
  void find(const char* name, Function*& function) noexcept {
    // Without a library the handle would stand for the program itself.
    function = handle_ == nullptr ? nullptr : reinterpret_cast<Function*>(::dlsym(handle_, name));
    hasAll_ &= function != nullptr;
  }

  // Whether the library is there, with all functions that were looked for.
  bool hasAll() const noexcept { return hasAll_; }

 private:
  void* handle_;
  bool hasAll_;
};

// A value that is made when it is first asked for and kept until the process ends. Unlike a local
// static it is tried for again after a failure, which may be a passing one (no descriptor left).
template <typename Value>
class LazyValue {
 public:
  // `make` gives a `std::unique_ptr<Value>`, null when it fails. Threads that ask at the same
  // moment may make several, of which one is kept.
  template <typename Make>
  const Value* get(Make make) {
    if (const Value* const value = value_.load(std::memory_order_acquire)) {
      return value;
    }
    std::unique_ptr<Value> made = make();
    const Value* kept = nullptr;
    if (made != nullptr && value_.compare_exchange_strong(kept, made.get())) {
      kept = made.release();
    }
    return kept;
  }

 private:
  std::atomic<const Value*> value_{nullptr};
};

}  // namespace ox

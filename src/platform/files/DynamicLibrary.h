// SPDX-License-Identifier: MIT

// Libraries that are loaded at their first use: few processes need them, and each takes a
// millisecond to load. If one is missing, the calls that need it fail as for a missing file.

#pragma once

#include <dlfcn.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/files/System.h"

namespace ox {

// The name of such a library. It is noted in ours for the tools that make packages, which see no
// other trace of it, as systemd's "ELF dlopen metadata" has it; readers take no wider alignment.
#define OX_NOTED(name, feature)                                                                 \
  [] {                                                                                          \
    [[gnu::used, gnu::section(".note.dlopen")]] alignas(4) static constexpr struct {            \
      std::uint32_t ownerSize = sizeof owner, textSize = sizeof text, type = 0x407c0c0a;        \
      std::array<char, 4> owner{"FDO"};                                                         \
      std::array<char, 128> text{R"([{"soname":[")" name R"("],"feature":")" feature R"("}])"}; \
    } note;                                                                                     \
    return name;                                                                                \
  }()

// The base of a class whose members are functions of the library, each initialised by `find`. The
// library is never unloaded, because it may have started something that needs its code.
class DynamicLibrary {
 public:
  // Whether the library was loaded and has all functions that were looked for.
  bool isUsable() const noexcept { return isUsable_; }

 protected:
  // The address of a function, which converts to any type of function pointer.
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
    // A null handle would search the program itself.
    const Address found{handle_ != nullptr ? ::dlsym(handle_, name) : nullptr};
    isUsable_ = isUsable_ && found.value != nullptr;
    return found;
  }

 private:
  void* handle_;
  bool isUsable_ = true;
};

// The process's one `Library`, created at the first call and never destroyed; null if it cannot be
// used. Unlike a local static, it is tried again after a failure, which may be temporary (no
// descriptor left). Threads that call at the same moment may create several, of which one is kept.
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

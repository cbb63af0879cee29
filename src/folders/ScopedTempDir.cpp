// SPDX-License-Identifier: MIT

#include "OrvexKit/OXScopedTempDir.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/RemoveItem.h"

namespace ox {
namespace {

// A number, 0 at first, in memory that the kernel clears in every forked child. Null if it cannot.
std::atomic<int>* memoryWipedOnFork() noexcept {
  constexpr std::size_t size = sizeof(std::atomic<int>);
  void* const memory =
      ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  const bool isWiped = memory != MAP_FAILED && ::madvise(memory, size, MADV_WIPEONFORK) == 0;
  return isWiped ? new (memory) std::atomic<int>(0) : nullptr;
}

// A number that differs between a process and its forked children. The process ID need not differ:
// a child in a PID namespace of its own may have its parent's.
int currentProcess() noexcept {
  static std::atomic<int>* const number = memoryWipedOnFork();
  static std::atomic<int> last{0};  // a forked child counts on from here
  if (number == nullptr) {
    return ::getpid();
  }
  int current = *number;
  if (current == 0) {
    const int next = ++last;
    current = number->compare_exchange_strong(current, next) ? next : current;
  }
  return current;
}

}  // namespace
}  // namespace ox

OXScopedTempDir::OXScopedTempDir()
    : path_(OXCreateTemporaryDirectory()), process_(ox::currentProcess()) {}

OXScopedTempDir::~OXScopedTempDir() {
  if (path_ && process_ == ox::currentProcess()) {
    ox::files::removeItem(ox::PathBuffer(*path_));
  }
}

OXString OXScopedTempDir::path(OXReleaseScope& scope) {
  auto owner = std::make_shared<OXScopedTempDir>();
  OXString path = owner->path();
  scope.defer(std::move(owner));
  return path;
}

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

// In memory that the kernel clears in every forked copy of the process. Null where it cannot.
std::atomic<int>* memoryWipedOnFork() noexcept {
  constexpr std::size_t size = sizeof(std::atomic<int>);
  void* const memory =
      ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  const bool isWiped = memory != MAP_FAILED && ::madvise(memory, size, MADV_WIPEONFORK) == 0;
  return isWiped ? new (memory) std::atomic<int>(0) : nullptr;
}

// Tells this process from those that it is a forked copy of. Process numbers do not: in a namespace
// of its own a copy may have the same one.
int currentProcess() noexcept {
  static std::atomic<int>* const number = memoryWipedOnFork();
  static std::atomic<int> last{0};  // copied by a fork
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

// SPDX-License-Identifier: MIT

#include "OrvexKit/OXScopedTempDir.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/RemoveItem.h"

namespace ox {
namespace {

using ProcessMark = std::atomic<std::uint64_t>;

// 0 at first. In memory that the kernel clears in every forked child, if it can do that.
ProcessMark& newProcessMark() noexcept {
  void* const memory = ::mmap(nullptr, sizeof(ProcessMark), PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory != MAP_FAILED && ::madvise(memory, sizeof(ProcessMark), MADV_WIPEONFORK) == 0) {
    return *new (memory) ProcessMark(0);
  }
  static ProcessMark keptOnFork{0};
  return keptOnFork;
}

// A number that differs between a process and its forked children. Neither sign is enough: a child
// in a PID namespace of its own may have its parent's process ID, and an emulator may keep memory.
int currentProcess() noexcept {
  static ProcessMark& mark = newProcessMark();  // the process ID, and its number in the lower half
  static std::atomic<std::uint32_t> last{0};    // a forked child counts on from here
  const auto id = static_cast<std::uint64_t>(::getpid());
  std::uint64_t current = mark;
  if (current >> 32U != id) {
    const std::uint64_t next = id << 32U | ++last;
    current = mark.compare_exchange_strong(current, next) ? next : current;
  }
  return static_cast<int>(current & 0xffffffffU);
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

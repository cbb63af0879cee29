// SPDX-License-Identifier: MIT

// Coverage counters are written when a process exits normally. Linked into the library, this writes
// them also when a fatal error aborts the process.

#include <csignal>

extern "C" void __gcov_dump();

namespace {

[[gnu::constructor]] void writeCountsAtAbort() {
  std::signal(SIGABRT, [](int /*signal*/) { __gcov_dump(); });
}

}  // namespace

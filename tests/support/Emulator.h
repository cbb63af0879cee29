// SPDX-License-Identifier: MIT

// What QEMU adds to a process that it runs.

#pragma once

namespace ox::test {

#ifdef OX_EMULATED
constexpr bool isEmulated = true;
#else
constexpr bool isEmulated = false;
#endif

// The threads of a process that has started none.
constexpr const char* ownThreads = isEmulated ? "2" : "1";

// For a death test with threads. A program that an emulator runs cannot start itself again where
// the kernel does not know the emulator, so its copy is forked.
constexpr const char* deathTestStyle = isEmulated ? "fast" : "threadsafe";

}  // namespace ox::test

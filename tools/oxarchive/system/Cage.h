// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace oxarchive {

// What a process may access while it reads an untrusted archive. It gives up everything else before
// it reads the first byte.
struct Cage {
  std::vector<std::string> readableFiles{};
  std::string listableFolder{};  // and the folders below it; "" is none
  std::string writableFolder{};  // and everything below it; "" is none
  std::uint64_t memory = 0;      // of address space, in bytes
};

// Confines this process permanently: to the files of the cage (Landlock), to the system calls for
// reading and writing files (seccomp) and to a memory limit, without core dumps and new privileges.
// A step that the system does not support is skipped.
//
// Afterwards the process cannot start, signal or inspect another process, use the network, mount
// anything or make memory executable.
void enterCage(const Cage& cage);

}  // namespace oxarchive

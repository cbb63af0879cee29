#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace oxarchive {

// What a process that reads a stranger's archive keeps; it gives away everything else before it
// reads the first byte.
struct Cage {
  std::vector<std::string> readableFiles{};
  std::string readableFolder{};  // with all files in it; none when empty
  std::string writableFolder{};  // with all that is made in it; none when empty
  std::uint64_t memory = 0;      // of address space, in bytes
};

// Confines this process for good: to the files of the cage (Landlock), to the system calls that
// reading and writing files takes (seccomp), to its memory, and without core dumps and new
// privileges. A step that the system refuses is left out. Throws ArchiveFailure when too many files
// are open.
//
// No process is started from then on, no other one is signalled or looked into, and nothing is
// connected to, mounted or made executable.
void enterCage(const Cage& cage);

}  // namespace oxarchive

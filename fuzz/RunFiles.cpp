// SPDX-License-Identifier: MIT

// The program of a target without a fuzzing engine: runs the files that it is given.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    // So that a sanitizer sees a read beyond the end.
    bytes.shrink_to_fit();
    if (file.bad() || !file.is_open()) {
      static_cast<void>(std::fprintf(stderr, "cannot read %s\n", argv[i]));
      return 1;
    }
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  return 0;
}

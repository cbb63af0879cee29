// SPDX-License-Identifier: MIT

// A minimal program that calls a naming rule, and the same without the library: the difference is
// the time to load the library.

#include <cstdio>
#include <string>

#if WITH_ORVEXKIT
#include "OrvexKit/OXFileUtil.h"
#endif

namespace {

std::string extensionOf(const std::string& path) {
#if WITH_ORVEXKIT
  return OXFileUtilAdditions::archiveExtension(path).value_or("");
#else
  return path.substr(path.find('.') + 1);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  return argc == 2 && std::puts(extensionOf(argv[1]).c_str()) >= 0 ? 0 : 1;
}

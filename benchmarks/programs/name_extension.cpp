// The shortest program there is that calls a naming rule, and the same one without the library:
// what they differ by is the time that loading the library takes.

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

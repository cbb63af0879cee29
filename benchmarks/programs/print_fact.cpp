// SPDX-License-Identifier: MIT

// Prints one fact about an item on disk, to compare with du, md5sum and similar programs.
//
//   print_fact folder-size PATH
//   print_fact digest PATH

#include <cstdio>
#include <string>
#include <string_view>

#include "OrvexKit/OXFileUtil.h"

namespace {

OXString factOf(std::string_view kind, std::string_view path) {
  if (kind == "folder-size") {
    return std::to_string(OXGetTotalFolderSize(path));
  }
  return kind == "digest" ? OXGenerateMD5DigestForFile(path) : std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
  const OXString fact = argc == 3 ? factOf(argv[1], argv[2]) : std::nullopt;
  return fact && std::puts(fact->c_str()) >= 0 ? 0 : 1;
}

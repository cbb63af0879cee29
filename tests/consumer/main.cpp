// SPDX-License-Identifier: MIT

// A user's program: makes the folder for an archive's contents and checks it.

#include <OrvexKit/OrvexKit.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>

int main() {
  const OXScopedTempDir scratch;
  if (!scratch.path()) {
    return EXIT_FAILURE;
  }
  const OXString base = OXFileUtilAdditions::stringByDeletingArchiveExtension("photos.tar.gz");
  const OXString folder = OXSafelyCreateArchiveSubdir(base, scratch.path(), false);
  std::cout << "made " << folder.value_or("nothing") << '\n';
  const bool isThere =
      folder == *scratch.path() + "/photos" && std::filesystem::is_directory(*folder);
  return isThere ? EXIT_SUCCESS : EXIT_FAILURE;
}

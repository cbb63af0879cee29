#include "platform/files/UserFolders.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "platform/files/Path.h"
#include "platform/files/System.h"

namespace ox {
namespace {

constexpr std::string_view dataFolderInHome = ".local/share";

bool isAbsolute(const char* path) noexcept {
  return path != nullptr && *path == '/';
}

std::optional<std::string> dataFolderIn(const char* home) {
  if (!isAbsolute(home)) {
    return std::nullopt;
  }
  return path::appendingComponent(home, dataFolderInHome);
}

std::optional<std::string> dataFolderByPasswordDatabase() {
  std::vector<char> strings(1024);
  struct ::passwd entry {};
  struct ::passwd* found = nullptr;
  while (sys.getpwuid(::getuid(), &entry, strings.data(), strings.size(), &found) != 0 &&
         errno == ERANGE) {
    strings.resize(strings.size() * 2);
  }
  return found == nullptr ? std::nullopt : dataFolderIn(found->pw_dir);
}

}  // namespace

std::optional<std::string> userDataFolder() {
  const char* const data = std::getenv("XDG_DATA_HOME");
  if (isAbsolute(data)) {
    return data;
  }
  const char* const home = std::getenv("HOME");
  return isAbsolute(home) ? dataFolderIn(home) : dataFolderByPasswordDatabase();
}

}  // namespace ox

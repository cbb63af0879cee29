// SPDX-License-Identifier: MIT

#include "OrvexKit/OXFileUtil.h"

#include <string>
#include <string_view>

#include "platform/files/Files.h"
#include "platform/files/Path.h"

namespace ox {
namespace {

// Creates `name` in `parent`, accessible to the user only, and returns its path. Ignores failure,
// which whoever uses the folder will notice.
OXString makeFolder(const OXString& parent, std::string_view name) {
  if (!parent) {
    return std::nullopt;
  }
  std::string folder = path::appendingComponent(*parent, name);
  files::createFolder(PathBuffer(folder), 0700);
  return folder;
}

}  // namespace
}  // namespace ox

// Neither value is ever destroyed, so destructors of static objects may call these functions.

OXString OXAppSupportDir() {
  static const OXString& kOXAppSupportDirPath =
      *new OXString(ox::makeFolder(ox::files::userDataFolder(), "Orvex"));
  return kOXAppSupportDirPath;
}

OXString OXUserCodecsPath() {
  static const OXString& kOXUserCodecsPath =
      *new OXString(ox::makeFolder(OXAppSupportDir(), "codecs"));
  return kOXUserCodecsPath;
}

OXString OXRARCodecPath() {
  const OXString codecs = OXUserCodecsPath();
  return codecs ? OXString(ox::path::appendingComponent(*codecs, "rar/rar")) : std::nullopt;
}

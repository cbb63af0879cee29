#include <string>
#include <string_view>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/Files.h"
#include "platform/files/Path.h"

namespace ox {
namespace {

// `name` in `parent`, made for the user alone. Failure is ignored: whoever uses the folder is told
// by that use.
OXString makeFolder(const OXString& parent, std::string_view name) {
  if (!parent) {
    return std::nullopt;
  }
  std::string folder = path::appendingComponent(*parent, name);
  files::createFolder(PathBuffer(folder), 0700);
  return folder;
}

// Both values are kept until the process ends, so that destructors that run late may ask for them.

const OXString& appSupportDir() {
  static const OXString& kOXAppSupportDirPath =
      *new OXString(makeFolder(files::userDataFolder(), "Orvex"));
  return kOXAppSupportDirPath;
}

const OXString& userCodecsPath() {
  static const OXString& kOXUserCodecsPath = *new OXString(makeFolder(appSupportDir(), "codecs"));
  return kOXUserCodecsPath;
}

}  // namespace
}  // namespace ox

OXString OXAppSupportDir() {
  return ox::appSupportDir();
}

OXString OXUserCodecsPath() {
  return ox::userCodecsPath();
}

OXString OXRARCodecPath() {
  const OXString& codecs = ox::userCodecsPath();
  if (!codecs) {
    return std::nullopt;
  }
  return ox::path::appendingComponent(*codecs, "rar/rar");
}

const std::string_view kOXCodecErrorDomain = "OrvexKitCodecError";

#include "OrvexKit/OXFileUtil.h"

const std::string_view kOXCodecErrorDomain = "OrvexKitCodecError";

#include "console/Failure.h"

#include <cstring>

namespace oxarchive {

std::string withSystemReason(const std::string& reason, int error) {
  return reason + ": " + std::strerror(error);
}

}  // namespace oxarchive

#include "platform/objects/FatalError.h"

#include <cstdio>
#include <cstdlib>

namespace ox {

void fatalError(const char* reason) noexcept {
  static_cast<void>(std::fprintf(stderr, "OrvexKit: %s\n", reason));
  std::abort();
}

}  // namespace ox

// SPDX-License-Identifier: MIT

// A libcrypto whose digests are zeros. The function named by OX_FAILING_CRYPTO fails.

#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

int resultOf(std::string_view function) {
  const char* const failing = std::getenv("OX_FAILING_CRYPTO");
  return failing != nullptr && failing == function ? 0 : 1;
}

}  // namespace

extern "C" {

int MD5_Init(void* /*context*/) {
  return resultOf("MD5_Init");
}

int MD5_Update(void* /*context*/, const void* /*bytes*/, std::size_t /*count*/) {
  return resultOf("MD5_Update");
}

#ifndef OX_WITHOUT_THE_LAST
int MD5_Final(unsigned char* digest, void* /*context*/) {
  std::memset(digest, 0, 16);
  return resultOf("MD5_Final");
}
#endif
}

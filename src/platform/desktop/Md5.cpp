// SPDX-License-Identifier: MIT

#include "platform/desktop/Md5.h"

// OpenSSL deprecates these functions, but the newer ones use providers and a configuration file.
// These need neither, so no policy applies to them, and they leave no state in the process.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <glib.h>
#include <openssl/md5.h>
#include <openssl/opensslv.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

#include "platform/files/DynamicLibrary.h"
#include "platform/files/FileDescriptor.h"

#ifndef OPENSSL_SHLIB_VERSION
#error "These headers do not tell the SONAME of libcrypto, as OpenSSL's do"
#endif

namespace ox {
namespace {

struct Crypto : DynamicLibrary {
  Crypto() noexcept
      : DynamicLibrary(OX_NOTED("libcrypto.so." G_STRINGIFY(OPENSSL_SHLIB_VERSION), "digests")) {}

  decltype(&::MD5_Init) start = find("MD5_Init");
  decltype(&::MD5_Update) add = find("MD5_Update");
  decltype(&::MD5_Final) finish = find("MD5_Final");
};

}  // namespace

std::optional<Md5> md5Of(int fd, std::uint64_t limit) {
  const auto* const library = sharedLibrary<Crypto>();
  ::MD5_CTX context;
  if (library == nullptr || library->start(&context) != 1) {
    return std::nullopt;
  }
  // Small enough to stay in the processor's cache between reading and digesting.
  std::vector<std::byte> buffer(65536);
  Md5 md5{};
  for (std::size_t count = 1; count > 0 && md5.byteCount < limit; md5.byteCount += count) {
    const auto wanted = std::min<std::uint64_t>(buffer.size(), limit - md5.byteCount);
    if (readSome(fd, std::span(buffer).first(static_cast<std::size_t>(wanted)), count) != 0 ||
        library->add(&context, buffer.data(), count) != 1) {
      return std::nullopt;
    }
  }
  return library->finish(md5.digest.data(), &context) == 1 ? std::optional(md5) : std::nullopt;
}

}  // namespace ox

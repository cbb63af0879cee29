// MD5 (RFC 1321), by libcrypto.

#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>

struct evp_md_ctx_st;  // libcrypto's EVP_MD_CTX

namespace ox {

// A digest in the making. It does not serve security here, so a system's policy against MD5 does
// not hold for it.
class Md5 {
 public:
  using Digest = std::array<unsigned char, 16>;

  // No value when there is no libcrypto, or no memory.
  static std::optional<Md5> start();

  bool add(const void* bytes, std::size_t count) noexcept;

  // Once, at the end.
  std::optional<Digest> finish() noexcept;

 private:
  struct Free {
    void operator()(evp_md_ctx_st* context) const noexcept;
  };

  explicit Md5(evp_md_ctx_st* context) noexcept : context_(context) {}

  std::unique_ptr<evp_md_ctx_st, Free> context_;
};

}  // namespace ox

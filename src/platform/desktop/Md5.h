// MD5 (RFC 1321), by libcrypto.

#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <utility>

namespace ox {

// A digest in the making. It does not serve security here, so a system's policy against MD5 does
// not hold for it.
class Md5 {
 public:
  using Digest = std::array<unsigned char, 16>;

  // No value when there is no libcrypto, or no memory.
  static std::optional<Md5> start();

  Md5(Md5&& other) noexcept : context_(std::exchange(other.context_, nullptr)) {}
  Md5(const Md5&) = delete;
  Md5& operator=(const Md5&) = delete;
  ~Md5();

  bool add(const void* bytes, std::size_t count) noexcept;

  // Once, at the end.
  std::optional<Digest> finish() noexcept;

 private:
  explicit Md5(void* context) noexcept : context_(context) {}

  void* context_;
};

}  // namespace ox

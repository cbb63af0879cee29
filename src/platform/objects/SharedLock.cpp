#include "platform/objects/SharedLock.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace ox {
namespace {

constexpr std::size_t cacheLine = 64;
constexpr std::size_t lockCount = 64;

// Apart in memory, so that two threads at two locks do not slow each other down.
struct alignas(cacheLine) Stripe {
  std::mutex lock;
};

constinit std::array<Stripe, lockCount> stripes;

}  // namespace

std::mutex& sharedLock(const void* address) noexcept {
  // The lowest bits are the same for all references, so higher ones are mixed in.
  const auto bits = reinterpret_cast<std::uintptr_t>(address);
  return stripes[((bits >> 4U) ^ (bits >> 10U)) % lockCount].lock;
}

}  // namespace ox

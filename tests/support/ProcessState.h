// What this process holds: for tests of what must not be left behind.

#pragma once

#include <cstddef>
#include <cstdint>

namespace ox::test {

std::size_t openDescriptorCount();
std::size_t threadCount();

// Leaves `free` descriptors to open, until the object goes.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(std::size_t free);
  ~DescriptorLimit();
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  std::uint64_t before_;
};

}  // namespace ox::test

// SPDX-License-Identifier: MIT

// The resources of this process, for tests that nothing leaks.

#pragma once

#include <cstddef>
#include <cstdint>

namespace ox::test {

std::size_t openDescriptorCount();
std::size_t threadCount();

// Allows only `free` more descriptors during its lifetime.
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

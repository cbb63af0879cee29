// SPDX-License-Identifier: MIT

#include "support/ProcessState.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <iterator>

namespace ox::test {
namespace {

std::size_t entryCount(const char* folder) {
  const auto entries = std::filesystem::directory_iterator(folder);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

rlim_t descriptorLimit() {
  struct rlimit limit {};
  EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  return limit.rlim_cur;
}

void setDescriptorLimit(rlim_t count) {
  struct rlimit limit {};
  EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  limit.rlim_cur = count;
  EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

}  // namespace

std::size_t openDescriptorCount() {
  // One descriptor is the listing's own.
  return entryCount("/proc/self/fd") - 1;
}

std::size_t threadCount() {
  return entryCount("/proc/self/task");
}

DescriptorLimit::DescriptorLimit(std::size_t free) : before_(descriptorLimit()) {
  // The limit applies to descriptor numbers, and all below the first free one are in use.
  std::size_t limit = 0;
  for (std::size_t found = 0; found < free; ++limit) {
    if (::fcntl(static_cast<int>(limit), F_GETFD) < 0) {
      ++found;
    }
  }
  setDescriptorLimit(limit);
}

DescriptorLimit::~DescriptorLimit() {
  setDescriptorLimit(before_);
}

}  // namespace ox::test

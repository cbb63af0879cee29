// SPDX-License-Identifier: MIT

// Text longer than `std::string::max_size()`: only possible where addresses have 32 bits.

#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace ox::test {

// The letter "a", 2^31 times. One small file is mapped repeatedly, so it takes little memory.
class LongText : public testing::Test {
 public:
  LongText() = default;
  LongText(const LongText&) = delete;
  LongText& operator=(const LongText&) = delete;
  ~LongText() override {
    if (memory_ != MAP_FAILED) {
      ::munmap(memory_, length);
    }
  }

 protected:
  void SetUp() override {
    if (length < std::string().max_size()) {
      GTEST_SKIP() << "strings can be longer on this processor";
    }
    memory_ =
        ::mmap(nullptr, length, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory_ == MAP_FAILED) {
      GTEST_SKIP() << "not enough address space";
    }
    const int file = ::memfd_create("letters", MFD_CLOEXEC);
    const std::string letters(piece, 'a');
    ASSERT_EQ(::write(file, letters.data(), piece), static_cast<ssize_t>(piece));
    for (std::size_t start = 0; start < length; start += piece) {
      ASSERT_NE(::mmap(static_cast<char*>(memory_) + start, piece, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_FIXED | MAP_NORESERVE, file, 0),
                MAP_FAILED);
    }
    ::close(file);
  }

  // The text with its first bytes replaced.
  std::string_view startingWith(std::string_view start) {
    start.copy(static_cast<char*>(memory_), start.size());
    return {static_cast<char*>(memory_), length};
  }

  // The text with its last bytes replaced.
  std::string_view endingIn(std::string_view ending) {
    char* const bytes = static_cast<char*>(memory_);
    std::fill_n(bytes + length - piece, piece, 'a');
    ending.copy(bytes + length - ending.size(), ending.size());
    return {bytes, length};
  }

 private:
  static constexpr std::size_t length = std::size_t{1} << 31U;
  static constexpr std::size_t piece = std::size_t{1} << 24U;

  void* memory_ = MAP_FAILED;
};

}  // namespace ox::test

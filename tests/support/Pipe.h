// SPDX-License-Identifier: MIT

// A pipe whose open ends are closed by the destructor.

#pragma once

#include <cstddef>
#include <span>

namespace ox::test {

class Pipe {
 public:
  explicit Pipe(int flags = 0);  // of `pipe2`
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int reading() const { return reading_; }
  int writing() const { return writing_; }
  void closeReading();
  void closeWriting();

  // Writes all of `bytes`; on failure, fails the test.
  void put(std::span<const std::byte> bytes) const;

 private:
  int reading_ = -1;
  int writing_ = -1;
};

}  // namespace ox::test

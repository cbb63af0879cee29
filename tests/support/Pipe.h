// A pipe that closes what is left open of it.

#pragma once

#include <cstddef>
#include <span>

namespace ox::test {

class Pipe {
 public:
  explicit Pipe(int flags = 0);  // as `pipe2` takes them
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int reading() const { return reading_; }
  int writing() const { return writing_; }
  void closeReading();
  void closeWriting();

  // Writes all of `bytes`; fails the test when that cannot be done.
  void put(std::span<const std::byte> bytes) const;

 private:
  int reading_ = -1;
  int writing_ = -1;
};

}  // namespace ox::test

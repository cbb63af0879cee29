#pragma once

#include <unistd.h>

#include <utility>

namespace oxarchive {

// Owns a descriptor of an open file or folder.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  bool isOpen() const { return fd_ >= 0; }
  int get() const { return fd_; }

  // Closes it now. Returns false if written data may be lost.
  bool close() { return ::close(std::exchange(fd_, -1)) == 0; }

  void reset() {
    if (isOpen()) {
      close();
    }
  }

 private:
  int fd_ = -1;
};

}  // namespace oxarchive

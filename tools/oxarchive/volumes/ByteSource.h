#pragma once

#include <cstddef>
#include <span>

namespace oxarchive {

using Bytes = std::span<const std::byte>;

// A stream of bytes in blocks. A block is valid until the next one is asked for; an empty one is
// the end. Throws ArchiveFailure when the stream is damaged or cannot be read.
class ByteSource {
 public:
  ByteSource() = default;
  virtual ~ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  // The next block, which stays the next one.
  Bytes peek() {
    if (!isPeeked_) {
      block_ = produce();
      isPeeked_ = true;
    }
    return block_;
  }

  // The next block, which is then behind.
  Bytes take() {
    const Bytes block = peek();
    isPeeked_ = false;
    return block;
  }

 protected:
  virtual Bytes produce() = 0;

  // What was peeked at is not the next block any more.
  void dropPeeked() { isPeeked_ = false; }

  // The bytes of a block that was only peeked at.
  std::size_t peekedSize() const { return isPeeked_ ? block_.size() : 0; }

 private:
  Bytes block_;
  bool isPeeked_ = false;
};

}  // namespace oxarchive

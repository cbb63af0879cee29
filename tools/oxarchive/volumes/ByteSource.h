// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <span>

#include "system/Uncopied.h"

namespace oxarchive {

using Bytes = std::span<const std::byte>;

// A stream of bytes in blocks. A block is valid until the next one is read; an empty block is the
// end. Throws ArchiveFailure when the stream is damaged or cannot be read.
class ByteSource : Uncopied {
 public:
  virtual ~ByteSource() = default;

  // Returns the next block without consuming it.
  Bytes peek() {
    if (!isPeeked_) {
      block_ = produce();
      isPeeked_ = true;
    }
    return block_;
  }

  // Returns the next block and consumes it.
  Bytes take() {
    const Bytes block = peek();
    isPeeked_ = false;
    return block;
  }

 protected:
  virtual Bytes produce() = 0;

  // Discards the block that was peeked at.
  void dropPeeked() { isPeeked_ = false; }

  // The size of a block that was peeked at but not taken.
  std::size_t peekedSize() const { return isPeeked_ ? block_.size() : 0; }

 private:
  Bytes block_;
  bool isPeeked_ = false;
};

}  // namespace oxarchive

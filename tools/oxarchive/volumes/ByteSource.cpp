#include "volumes/ByteSource.h"

namespace oxarchive {

Bytes ByteSource::peek() {
  if (!isPeeked_) {
    block_ = produce();
    isPeeked_ = true;
  }
  return block_;
}

Bytes ByteSource::take() {
  const Bytes block = peek();
  isPeeked_ = false;
  return block;
}

}  // namespace oxarchive

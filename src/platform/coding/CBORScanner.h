// Where a CBOR data item ends, found without a look at what it holds.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/coding/CBORHead.h"

namespace ox::cbor {

// Follows the nesting of one data item, head by head, and can stop and go on wherever the bytes run
// out. Needs no memory but its own, however deep or large the item claims to be.
class Scanner {
 public:
  Scanner() noexcept { levels_[0] = {.kind = Kind::array, .indefinite = false, .items = 1}; }

  enum class Progress : std::uint8_t { within, complete, malformed, tooLarge };

  // `item` starts where the data item does, and holds at least what it held the last time. An item
  // that cannot end within `room` bytes is too large. After `complete`, `scanned()` is the item's
  // size; `reset` begins another one.
  Progress scan(Bytes item, std::size_t room) noexcept;

  std::size_t scanned() const noexcept { return scanned_; }
  void reset() noexcept {
    scanned_ = 0;
    levels_[0].items = 1;
  }

 private:
  // A container or a string in chunks that has begun.
  struct Level {
    Kind kind;
    bool indefinite;
    std::uint64_t items;  // still to come; an even number that is never reached when indefinite
  };

  // Containers and strings in chunks within each other; deeper ones are refused. Tags do not count.
  static constexpr std::size_t maximumDepth = 64;

  std::size_t passPlain(Bytes bytes) noexcept;
  bool isWrongChunk(const Head& head) const noexcept;
  Progress take(const Head& head) noexcept;

  // The first one stands for what is around the item, which is the only one there.
  std::array<Level, 1 + maximumDepth> levels_;
  std::size_t depth_ = 0;
  std::size_t scanned_ = 0;
  bool tagged_ = false;
};

// How many of `bytes` the data item at their start takes, or 0 when they hold no whole, well-formed
// one.
std::size_t itemSize(Bytes bytes) noexcept;

}  // namespace ox::cbor

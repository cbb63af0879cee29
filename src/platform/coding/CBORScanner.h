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
  // Containers and chunked strings within each other; deeper ones are refused. Tags do not count.
  static constexpr std::size_t maximumDepth = 64;

  explicit Scanner(std::size_t depth = maximumDepth) noexcept : most_(depth) {}

  enum class Progress : std::uint8_t { within, complete, malformed, tooLarge };

  // `item` starts where the data item does, and holds at least what it held the last time. An item
  // that cannot end within `room` bytes is too large. After `complete`, `scanned()` is the item's
  // size; `reset` begins another one.
  Progress scan(Bytes item, std::size_t room) noexcept;

  std::size_t scanned() const noexcept { return scanned_; }
  void reset() noexcept { scanned_ = 0; }

 private:
  struct Level {
    Kind kind;
    bool indefinite;
    // Items still to come in a definite container; items taken so far in an indefinite one.
    std::uint64_t items;
  };

  Progress passSimple(Bytes bytes) noexcept;
  Progress scanOne(Bytes rest, std::size_t room) noexcept;
  Progress take(const Head& head) noexcept;
  Progress open(const Head& head, std::uint64_t items) noexcept;
  Progress takeBreak() noexcept;
  Progress completeItem() noexcept;
  bool isWrongChunk(const Head& head) const noexcept;

  std::array<Level, maximumDepth + 1> levels_;  // one more for the map or array around a record
  std::size_t most_;
  std::size_t depth_ = 0;
  std::size_t scanned_ = 0;
  bool tagged_ = false;
};

// How many of `bytes` the data item at their start takes, or 0 when they hold no whole, well-formed
// one of at most `depth` levels.
std::size_t itemSize(Bytes bytes, std::size_t depth = Scanner::maximumDepth) noexcept;

}  // namespace ox::cbor

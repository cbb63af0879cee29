// Where a CBOR data item ends, found without a look at what it holds.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/coding/CBORToken.h"

namespace ox::cbor {

// Follows the nesting of one data item, token by token, so that it can stop and go on wherever the
// bytes run out. Needs no memory but its own, however deep or large the item claims to be.
class ItemScanner {
 public:
  // Containers and chunked strings within each other; deeper ones are refused. Tags do not count.
  static constexpr std::size_t maximumDepth = 64;

  enum class Progress : std::uint8_t { within, complete, malformed };

  // Takes the next token, which is not an incomplete one. After `complete` a new item begins; after
  // `malformed` there is no going on.
  Progress take(const Token& token) noexcept;

 private:
  enum class Container : std::uint8_t {
    definite,
    indefiniteArray,
    indefiniteMap,
    chunkedByteString,
    chunkedTextString
  };
  struct Level {
    Container container;
    // Items still to come in a definite container, items taken so far in an indefinite one.
    std::uint64_t items;
  };

  Progress open(Container container, std::uint64_t items) noexcept;
  Progress takeChunk(const Token& token) noexcept;
  Progress takeBreak() noexcept;
  Progress completeItem() noexcept;
  bool isInChunkedString() const noexcept;

  std::array<Level, maximumDepth> levels_;
  std::size_t depth_ = 0;
  bool tagged_ = false;
};

// How many of `bytes` the data item at their start takes, or 0 when they hold no whole, well-formed
// one.
std::size_t itemSize(std::span<const std::byte> bytes) noexcept;

}  // namespace ox::cbor

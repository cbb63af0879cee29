#include "platform/coding/CBORItemScanner.h"

#include <limits>

namespace ox::cbor {

using Progress = ItemScanner::Progress;

Progress ItemScanner::take(const Token& token) noexcept {
  if (isInChunkedString()) {
    return takeChunk(token);
  }
  switch (token.kind) {
    case TokenKind::array:
      return open(Container::definite, token.number);
    case TokenKind::map:
      return token.number > std::numeric_limits<std::uint64_t>::max() / 2
                 ? Progress::malformed
                 : open(Container::definite, token.number * 2);
    case TokenKind::indefiniteArray:
      return open(Container::indefiniteArray, 0);
    case TokenKind::indefiniteMap:
      return open(Container::indefiniteMap, 0);
    case TokenKind::chunkedByteString:
      return open(Container::chunkedByteString, 0);
    case TokenKind::chunkedTextString:
      return open(Container::chunkedTextString, 0);
    case TokenKind::tag:
      tagged_ = true;
      return Progress::within;
    case TokenKind::breakCode:
      return takeBreak();
    case TokenKind::incomplete:
    case TokenKind::malformed:
      return Progress::malformed;
    default:
      return completeItem();
  }
}

bool ItemScanner::isInChunkedString() const noexcept {
  return depth_ != 0 && levels_[depth_ - 1].container >= Container::chunkedByteString;
}

// A chunk is a string of known length of the same major type, without a tag.
Progress ItemScanner::takeChunk(const Token& token) noexcept {
  if (token.kind == TokenKind::breakCode) {
    --depth_;
    return completeItem();
  }
  const TokenKind chunk = levels_[depth_ - 1].container == Container::chunkedByteString
                              ? TokenKind::byteString
                              : TokenKind::textString;
  return token.kind == chunk ? Progress::within : Progress::malformed;
}

Progress ItemScanner::takeBreak() noexcept {
  if (depth_ == 0 || tagged_) {
    return Progress::malformed;
  }
  const Level& level = levels_[depth_ - 1];
  const bool ends = level.container == Container::indefiniteArray ||
                    (level.container == Container::indefiniteMap && level.items % 2 == 0);
  if (!ends) {
    return Progress::malformed;
  }
  --depth_;
  return completeItem();
}

Progress ItemScanner::open(Container container, std::uint64_t items) noexcept {
  if (container == Container::definite && items == 0) {
    return completeItem();
  }
  if (depth_ == maximumDepth) {
    return Progress::malformed;
  }
  tagged_ = false;
  levels_[depth_] = {.container = container, .items = items};
  ++depth_;
  return Progress::within;
}

Progress ItemScanner::completeItem() noexcept {
  tagged_ = false;
  while (depth_ != 0) {
    Level& level = levels_[depth_ - 1];
    if (level.container != Container::definite) {
      ++level.items;
      return Progress::within;
    }
    if (--level.items != 0) {
      return Progress::within;
    }
    --depth_;
  }
  return Progress::complete;
}

std::size_t itemSize(std::span<const std::byte> bytes) noexcept {
  ItemScanner scanner;
  std::size_t size = 0;
  while (true) {
    const Token token = readToken(bytes.subspan(size));
    switch (scanner.take(token)) {
      case Progress::within:
        size += token.size;
        break;
      case Progress::complete:
        return size + token.size;
      case Progress::malformed:
        return 0;
    }
  }
}

}  // namespace ox::cbor

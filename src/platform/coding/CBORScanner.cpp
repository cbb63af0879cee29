#include "platform/coding/CBORScanner.h"

#include <limits>
#include <utility>

namespace ox::cbor {

using Progress = Scanner::Progress;

namespace {

// The least number of bytes that must follow the head: each item in a container takes one.
std::uint64_t leastContent(const Head& head) noexcept {
  constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
  if (head.kind == Kind::map) {
    return head.number > most / 2 ? most : head.number * 2;
  }
  return isString(head.kind) || head.kind == Kind::array ? head.number : 0;
}

}  // namespace

Progress Scanner::scan(Bytes item, std::size_t room) noexcept {
  while (scanned_ < item.size()) {
    const Bytes rest = item.subspan(scanned_);
    const Head head = readHead(rest);
    if (head.kind == Kind::malformed || isWrongChunk(head)) {
      return Progress::malformed;
    }
    if (head.size > room - scanned_ || leastContent(head) > room - scanned_ - head.size) {
      return Progress::tooLarge;
    }
    const std::size_t size =
        head.size + (isString(head.kind) ? static_cast<std::size_t>(head.number) : 0);
    if (size > rest.size()) {
      return Progress::within;
    }
    scanned_ += size;
    if (const Progress progress = take(head); progress != Progress::within) {
      return progress;
    }
  }
  return scanned_ < room ? Progress::within : Progress::tooLarge;
}

// A chunk is a string of known length of the same major type, without a tag.
bool Scanner::isWrongChunk(const Head& head) const noexcept {
  if (depth_ == 0 || !isString(levels_[depth_ - 1].kind)) {
    return false;
  }
  return head.kind != Kind::breakCode && (head.kind != levels_[depth_ - 1].kind || head.indefinite);
}

// A break ends what is indefinite, and in a map never between a key and its value.
bool Scanner::canEndHere() const noexcept {
  return depth_ != 0 && levels_[depth_ - 1].indefinite &&
         (levels_[depth_ - 1].kind != Kind::map || levels_[depth_ - 1].items % 2 == 0);
}

// Goes on behind a head and, of a string, its contents.
Progress Scanner::take(const Head& head) noexcept {
  constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max() - 1;
  const bool wasTagged = std::exchange(tagged_, head.kind == Kind::tag);
  if (tagged_) {
    return Progress::within;
  }
  if (head.indefinite || (isContainer(head.kind) && head.number != 0)) {
    if (depth_ == maximumDepth) {
      return Progress::malformed;
    }
    levels_[depth_] = {.kind = head.kind,
                       .indefinite = head.indefinite,
                       .items = head.indefinite ? unlimited : leastContent(head)};
    ++depth_;
    return Progress::within;
  }
  if (head.kind == Kind::breakCode) {
    if (wasTagged || !canEndHere()) {
      return Progress::malformed;
    }
    --depth_;
  }
  // An item is complete, and with it each container whose last one it is.
  while (depth_ != 0 && --levels_[depth_ - 1].items == 0) {
    --depth_;
  }
  return depth_ == 0 ? Progress::complete : Progress::within;
}

std::size_t itemSize(Bytes bytes) noexcept {
  Scanner scanner;
  return scanner.scan(bytes, bytes.size()) == Progress::complete ? scanner.scanned() : 0;
}

}  // namespace ox::cbor

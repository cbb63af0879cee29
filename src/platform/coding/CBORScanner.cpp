#include "platform/coding/CBORScanner.h"

#include <algorithm>
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
    const std::size_t left = room - scanned_;
    if (const std::size_t passed = passPlain(rest.first(std::min(rest.size(), left)))) {
      scanned_ += passed;
      continue;
    }
    const Head head = readHead(rest);
    if (head.kind == Kind::malformed || isWrongChunk(head)) {
      return Progress::malformed;
    }
    if (head.size > left || leastContent(head) > left - head.size) {
      return Progress::tooLarge;
    }
    const std::uint64_t size = head.size + (isString(head.kind) ? head.number : 0);
    if (size > rest.size()) {
      return Progress::within;
    }
    scanned_ += static_cast<std::size_t>(size);
    if (const Progress progress = take(head); progress != Progress::within) {
      return progress;
    }
  }
  return scanned_ < room ? Progress::within : Progress::tooLarge;
}

// Passes over as many plain items as are there, up to the last one in their container, and returns
// their size. Most items are plain, and this takes half the time of a look at each.
std::size_t Scanner::passPlain(Bytes bytes) noexcept {
  Level& level = levels_[depth_];
  if (isString(level.kind)) {
    return 0;
  }
  Bytes rest = bytes;
  for (; level.items > 1 && !rest.empty(); --level.items) {
    const std::size_t size = plainSize(rest, readHead(rest));
    if (size == 0) {
      break;
    }
    rest = rest.subspan(size);
    tagged_ = false;
  }
  return bytes.size() - rest.size();
}

// A chunk is a string of known length of the same major type, without a tag.
bool Scanner::isWrongChunk(const Head& head) const noexcept {
  const Kind around = levels_[depth_].kind;
  return isString(around) && head.kind != Kind::breakCode &&
         (head.kind != around || head.indefinite);
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
    ++depth_;
    levels_[depth_] = {.kind = head.kind,
                       .indefinite = head.indefinite,
                       .items = head.indefinite ? unlimited : leastContent(head)};
    return Progress::within;
  }
  if (head.kind == Kind::breakCode) {
    // It ends what is indefinite, and in a map never between a key and its value.
    const Level& level = levels_[depth_];
    if (wasTagged || !level.indefinite || (level.kind == Kind::map && level.items % 2 != 0)) {
      return Progress::malformed;
    }
    --depth_;
  }
  // An item is complete, and with it each container whose last one it is.
  while (--levels_[depth_].items == 0) {
    if (depth_ == 0) {
      return Progress::complete;
    }
    --depth_;
  }
  return Progress::within;
}

std::size_t itemSize(Bytes bytes) noexcept {
  // Most items that are not plain are dates.
  constexpr std::byte dateTag{0xC1};
  if (bytes.size() > 1 && bytes.front() == dateTag) {
    const Bytes seconds = bytes.subspan(1);
    if (const std::size_t size = plainSize(seconds, readHead(seconds))) {
      return 1 + size;
    }
  }
  Scanner scanner;
  return scanner.scan(bytes, bytes.size()) == Progress::complete ? scanner.scanned() : 0;
}

}  // namespace ox::cbor

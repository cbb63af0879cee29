#include "platform/coding/CBORScanner.h"

#include <algorithm>
#include <limits>

namespace ox::cbor {

using Progress = Scanner::Progress;

namespace {

bool isString(Kind kind) noexcept {
  return kind == Kind::byteString || kind == Kind::textString;
}

bool opensOrEnds(const Head& head) noexcept {
  return head.indefinite || head.kind == Kind::array || head.kind == Kind::map ||
         head.kind > Kind::floatingPoint;
}

// The least number of bytes that must follow the head: each item in a container takes one.
std::uint64_t leastContent(const Head& head) noexcept {
  constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
  if (head.kind == Kind::map) {
    return head.number > most / 2 ? most : head.number * 2;
  }
  return isString(head.kind) || head.kind == Kind::array ? head.number : 0;
}

}  // namespace

// A chunk is a string of known length of the same major type, without a tag.
bool Scanner::isWrongChunk(const Head& head) const noexcept {
  if (depth_ == 0 || !isString(levels_[depth_ - 1].kind)) {
    return false;
  }
  return head.kind != Kind::breakCode && (head.kind != levels_[depth_ - 1].kind || head.indefinite);
}

Progress Scanner::scan(Bytes item, std::size_t room) noexcept {
  while (scanned_ < item.size()) {
    Progress progress = passSimple(item.first(std::min(item.size(), room)));
    if (progress == Progress::within && scanned_ < item.size()) {
      const std::size_t before = scanned_;
      progress = scanOne(item.subspan(scanned_), room - scanned_);
      if (scanned_ == before) {
        return progress;
      }
    }
    if (progress != Progress::within) {
      return progress;
    }
  }
  return scanned_ < room ? Progress::within : Progress::tooLarge;
}

// Most items neither open nor end anything: passes over as many of them as are there, in a
// container that says how many it has.
Progress Scanner::passSimple(Bytes bytes) noexcept {
  if (depth_ == 0 || levels_[depth_ - 1].indefinite) {
    return Progress::within;
  }
  std::size_t left = bytes.size() - scanned_;
  std::uint64_t items = levels_[depth_ - 1].items;
  while (items != 0 && left != 0) {
    const Head head = readHead(bytes.last(left));
    if (opensOrEnds(head) || head.size > left) {
      break;
    }
    const std::size_t behind = left - head.size;
    if (!isString(head.kind)) {
      left = behind;
    } else if (head.number <= behind) {
      left = behind - static_cast<std::size_t>(head.number);
    } else {
      break;
    }
    items -= head.kind == Kind::tag ? 0 : 1;
  }
  levels_[depth_ - 1].items = items;
  scanned_ = bytes.size() - left;
  if (items != 0) {
    return Progress::within;
  }
  --depth_;
  return completeItem();
}

// Goes on behind the head at the start of `rest`, if all that belongs to it is there.
Progress Scanner::scanOne(Bytes rest, std::size_t room) noexcept {
  const Head head = readHead(rest);
  if (head.kind == Kind::malformed || isWrongChunk(head)) {
    return Progress::malformed;
  }
  if (head.size > room || leastContent(head) > room - head.size) {
    return Progress::tooLarge;
  }
  const std::size_t size =
      head.size + (isString(head.kind) ? static_cast<std::size_t>(head.number) : 0);
  if (size > rest.size()) {
    return Progress::within;
  }
  const Progress progress = take(head);
  scanned_ += size;
  return progress;
}

Progress Scanner::take(const Head& head) noexcept {
  if (head.kind == Kind::tag) {
    tagged_ = true;
    return Progress::within;
  }
  if (head.kind == Kind::breakCode) {
    return takeBreak();
  }
  if (head.indefinite) {
    return open(head, 0);
  }
  const bool isContainer = head.kind == Kind::array || head.kind == Kind::map;
  if (isContainer && head.number != 0) {
    return open(head, leastContent(head));
  }
  const bool isChunk = depth_ != 0 && isString(levels_[depth_ - 1].kind);
  return isChunk ? Progress::within : completeItem();
}

Progress Scanner::takeBreak() noexcept {
  if (depth_ == 0 || tagged_) {
    return Progress::malformed;
  }
  const Level& level = levels_[depth_ - 1];
  const bool lacksValue = level.kind == Kind::map && level.items % 2 != 0;
  if (!level.indefinite || lacksValue) {
    return Progress::malformed;
  }
  --depth_;
  return completeItem();
}

Progress Scanner::open(const Head& head, std::uint64_t items) noexcept {
  if (depth_ == most_) {
    return Progress::malformed;
  }
  tagged_ = false;
  levels_[depth_] = {.kind = head.kind, .indefinite = head.indefinite, .items = items};
  ++depth_;
  return Progress::within;
}

Progress Scanner::completeItem() noexcept {
  tagged_ = false;
  for (; depth_ != 0; --depth_) {
    Level& level = levels_[depth_ - 1];
    level.items += level.indefinite ? 1 : ~std::uint64_t{0};
    if (level.indefinite || level.items != 0) {
      return Progress::within;
    }
  }
  return Progress::complete;
}

std::size_t itemSize(Bytes bytes, std::size_t depth) noexcept {
  Scanner scanner(depth);
  return scanner.scan(bytes, bytes.size()) == Progress::complete ? scanner.scanned() : 0;
}

}  // namespace ox::cbor

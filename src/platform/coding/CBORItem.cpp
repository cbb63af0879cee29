// SPDX-License-Identifier: MIT

#include "platform/coding/CBORItem.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <new>
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

bool opensLevel(const Head& head) noexcept {
  return head.indefinite || (isContainer(head.kind) && head.number != 0);
}

// The consecutive chunks of a string. A string of definite length counts as one chunk.
Bytes chunksOf(Bytes item) noexcept {
  return headOf(item).indefinite ? item.subspan(1, item.size() - 2) : item;
}

// The double nearest to a number. A negative integer's sum is exact, so that only the conversion
// rounds; it overflows to 0 for the greatest number alone.
double nearest(const Head& number) noexcept {
  if (number.kind == Kind::negativeInteger) {
    return number.number + 1 == 0 ? -0x1p64 : -static_cast<double>(number.number + 1);
  }
  const bool isReal = number.kind == Kind::floatingPoint;
  return isReal ? std::bit_cast<double>(number.number) : static_cast<double>(number.number);
}

// The size of the date at the start of `bytes`, or 0. Most items that are not plain are dates. Not
// inlined, as the loops over plain items are faster without it.
[[gnu::noinline]] std::size_t dateSize(Bytes bytes) noexcept {
  if (bytes.size() < 2 || bytes.front() != std::byte{firstByte(Kind::tag, epochDateTag)}) {
    return 0;
  }
  const Bytes seconds = bytes.subspan(1);
  const std::size_t size = plainSize(seconds, readHead(seconds));
  return size != 0 ? 1 + size : 0;
}

}  // namespace

Progress Scanner::scan(Bytes item, std::size_t room) noexcept {
  std::optional<Progress> end;
  while (!end) {
    scanned_ += passPlain(item.first(std::min(item.size(), room)).subspan(scanned_));
    end = closeLevels() ? Progress::complete : passHead(item.subspan(scanned_), room - scanned_);
  }
  return *end;
}

// Goes on behind a head and, of a string, its contents, or tells why it cannot.
std::optional<Progress> Scanner::passHead(Bytes rest, std::size_t room) noexcept {
  if (rest.empty()) {
    return room != 0 ? Progress::within : Progress::tooLarge;
  }
  const Head head = readHead(rest);
  if (!canStandHere(head)) {
    return Progress::malformed;
  }
  if (head.size > room || leastContent(head) > room - head.size) {
    return Progress::tooLarge;
  }
  const std::uint64_t size = head.size + (isString(head.kind) ? head.number : 0);
  if (size > rest.size()) {
    return Progress::within;
  }
  scanned_ += static_cast<std::size_t>(size);
  return take(head) ? std::nullopt : std::optional(Progress::malformed);
}

// Passes over as many plain items and dates as are there, up to the end of their container, and
// returns their size. Most items are such, and this takes half the time of a look at each.
std::size_t Scanner::passPlain(Bytes bytes) noexcept {
  Level& level = levels_[depth_];
  if (isString(level.kind)) {
    return 0;
  }
  Bytes rest = bytes;
  std::uint64_t items = level.items;  // not written to memory for each item
  for (; items != 0 && !rest.empty(); --items) {
    const std::size_t plain = plainSize(rest, readHead(rest));
    const std::size_t size = plain != 0 ? plain : dateSize(rest);
    if (size == 0) {
      break;
    }
    rest = rest.subspan(size);
  }
  tagged_ = tagged_ && items == level.items;
  level.items = items;
  return bytes.size() - rest.size();
}

// Leaves each container whose last item is complete. True when the data item itself is.
bool Scanner::closeLevels() noexcept {
  while (depth_ != 0 && levels_[depth_].items == 0) {
    --levels_[--depth_].items;
  }
  return levels_[0].items == 0;
}

// A string of indefinite length contains only untagged strings of definite length and of its own
// major type.
bool Scanner::canStandHere(const Head& head) const noexcept {
  const Kind around = levels_[depth_].kind;
  if (!isString(around) || head.kind == Kind::breakCode) {
    return head.kind != Kind::malformed;
  }
  return head.kind == around && !head.indefinite;
}

// Follows the nesting. False when the head may not be here.
bool Scanner::take(const Head& head) noexcept {
  constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max() - 1;
  const bool wasTagged = std::exchange(tagged_, head.kind == Kind::tag);
  if (tagged_) {
    return true;
  }
  if (opensLevel(head)) {
    if (depth_ == maximumDepth) {
      return false;
    }
    const std::uint64_t items = head.indefinite ? unlimited : leastContent(head);
    levels_[++depth_] = {.kind = head.kind, .indefinite = head.indefinite, .items = items};
    return true;
  }
  if (head.kind == Kind::breakCode) {
    // It ends what is indefinite, and in a map never between a key and its value.
    const Level& level = levels_[depth_];
    if (wasTagged || !level.indefinite || (level.kind == Kind::map && level.items % 2 != 0)) {
      return false;
    }
    --depth_;
  }
  --levels_[depth_].items;
  return true;
}

std::size_t itemSize(Bytes bytes) noexcept {
  if (const std::size_t size = dateSize(bytes)) {
    return size;
  }
  Scanner scanner;
  return scanner.scan(bytes, bytes.size()) == Progress::complete ? scanner.scanned() : 0;
}

bool read(Bytes item, std::optional<std::string>& object) {
  const Head head = headOf(item);
  if (!isString(head.kind)) {
    return false;
  }
  if (item.size() > std::string().max_size()) {
    throw std::bad_alloc();
  }
  if (!head.indefinite) {
    object.emplace(textOf({head, item}));
    return true;
  }
  object.emplace().reserve(item.size());  // for one allocation, the chunks' heads included
  for (Bytes chunks = chunksOf(item); !chunks.empty();) {
    *object += textOf(takeItem(chunks));
  }
  return true;
}

bool read(Bytes item, std::optional<OXNumber>& object) noexcept {
  constexpr std::uint64_t greatest = std::numeric_limits<std::int64_t>::max();
  const Head head = headOf(item);
  if (head.kind == Kind::unsignedInteger) {
    object = OXNumber(head.number);
  } else if (head.kind == Kind::negativeInteger && head.number <= greatest) {
    object = OXNumber(-1 - static_cast<std::int64_t>(head.number));
  } else if (head.kind == Kind::floatingPoint) {
    object = OXNumber(std::bit_cast<double>(head.number));
  } else if (isBoolean(head)) {
    object = OXNumber(head.number == trueValue);
  } else {
    return false;
  }
  return true;
}

// Tag 1 on an integer or a float is a date. Any other tag may change its content's meaning, so the
// item is not an object.
bool read(Bytes item, std::optional<OXDate>& object) noexcept {
  const Head head = headOf(item);
  if (head.kind != Kind::tag || head.number != epochDateTag) {
    return false;
  }
  const Head content = readHead(item.subspan(head.size));
  if (content.kind > Kind::negativeInteger && content.kind != Kind::floatingPoint) {
    return false;
  }
  object.emplace(OXDate::duration(nearest(content)));
  return true;
}

OXValue objectOf(Bytes item) {
  std::optional<std::string> string;
  std::optional<OXNumber> number;
  std::optional<OXDate> date;
  return read(item, string)     ? OXValue(*std::move(string))
         : read(item, number)   ? OXValue(*number)
         : read(item, date)     ? OXValue(*date)
         : isNull(headOf(item)) ? OXValue(OXNull())
                                : OXValue(OXMisfit());
}

bool isText(Bytes item, std::string_view text) noexcept {
  bool isSame = isString(headOf(item).kind);
  for (Bytes chunks = chunksOf(item); isSame && !chunks.empty();) {
    const std::string_view chunk = textOf(takeItem(chunks));
    isSame = text.starts_with(chunk);
    text.remove_prefix(isSame ? chunk.size() : 0);
  }
  return isSame && text.empty();
}

unsigned char* write(unsigned char* to, const OXNumber& number) noexcept {
  if (number.kind() == OXNumber::Kind::boolean) {
    return write(to, number.boolValue());
  }
  if (number.kind() == OXNumber::Kind::floatingPoint) {
    return writeDouble(to, number.doubleValue());
  }
  const std::int64_t value = number.signed64Value();
  if (number.kind() == OXNumber::Kind::signedInteger && value < 0) {
    return writeHead(to, Kind::negativeInteger, static_cast<std::uint64_t>(-1 - value));
  }
  return write(to, number.unsigned64Value());
}

}  // namespace ox::cbor

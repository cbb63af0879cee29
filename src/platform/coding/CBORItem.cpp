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

// The double nearest to -1 - `number`. The integer sum is exact, so that only the conversion
// rounds; it overflows to 0 for the greatest number alone.
double negative(std::uint64_t number) noexcept {
  return number + 1 == 0 ? -0x1p64 : -static_cast<double>(number + 1);
}

}  // namespace

Progress Scanner::scan(Bytes item, std::size_t room) noexcept {
  while (scanned_ < item.size()) {
    scanned_ += passPlain(item.first(std::min(item.size(), room)).subspan(scanned_));
    const Bytes rest = item.subspan(scanned_);
    if (rest.empty()) {
      break;
    }
    const std::size_t left = room - scanned_;
    const Head head = readHead(rest);
    if (!canStandHere(head)) {
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

// A string of indefinite length contains only untagged strings of definite length and of its own
// major type.
bool Scanner::canStandHere(const Head& head) const noexcept {
  const Kind around = levels_[depth_].kind;
  if (!isString(around) || head.kind == Kind::breakCode) {
    return head.kind != Kind::malformed;
  }
  return head.kind == around && !head.indefinite;
}

// Goes on behind a head and, of a string, its contents.
Progress Scanner::take(const Head& head) noexcept {
  constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max() - 1;
  const bool wasTagged = std::exchange(tagged_, head.kind == Kind::tag);
  if (tagged_) {
    return Progress::within;
  }
  if (opensLevel(head)) {
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
  if (bytes.size() > 1 && bytes.front() == std::byte{firstByte(Kind::tag, epochDateTag)}) {
    const Bytes seconds = bytes.subspan(1);
    if (const std::size_t size = plainSize(seconds, readHead(seconds))) {
      return 1 + size;
    }
  }
  Scanner scanner;
  return scanner.scan(bytes, bytes.size()) == Progress::complete ? scanner.scanned() : 0;
}

template <>
std::optional<std::string> as<std::string>(Bytes item) {
  const Head head = headOf(item);
  if (!isString(head.kind)) {
    return std::nullopt;
  }
  if (item.size() > std::string().max_size()) {
    throw std::bad_alloc();
  }
  if (!head.indefinite) {
    return std::string(textOf({head, item}));
  }
  std::string string;
  string.reserve(item.size());  // for one allocation, the chunks' heads included
  for (Bytes chunks = chunksOf(item); !chunks.empty();) {
    string += textOf(takeItem(chunks));
  }
  return string;
}

template <>
std::optional<OXNumber> as<OXNumber>(Bytes item) {
  constexpr std::uint64_t greatest = std::numeric_limits<std::int64_t>::max();
  const Head head = headOf(item);
  if (head.kind == Kind::unsignedInteger) {
    return OXNumber(head.number);
  }
  if (head.kind == Kind::negativeInteger && head.number <= greatest) {
    return OXNumber(-1 - static_cast<std::int64_t>(head.number));
  }
  if (head.kind == Kind::floatingPoint) {
    return OXNumber(std::bit_cast<double>(head.number));
  }
  return isBoolean(head) ? std::optional(OXNumber(head.number == trueValue)) : std::nullopt;
}

// Tag 1 on an integer or a float is a date. Any other tag may change its content's meaning, so the
// item is not an object.
template <>
std::optional<OXDate> as<OXDate>(Bytes item) {
  const Head head = headOf(item);
  if (head.kind != Kind::tag || head.number != epochDateTag) {
    return std::nullopt;
  }
  const Head content = readHead(item.subspan(head.size));
  const auto date = [](double seconds) { return OXDate(OXDate::duration(seconds)); };
  switch (content.kind) {
    case Kind::unsignedInteger:
      return date(static_cast<double>(content.number));
    case Kind::negativeInteger:
      return date(negative(content.number));
    case Kind::floatingPoint:
      return date(std::bit_cast<double>(content.number));
    default:
      return std::nullopt;
  }
}

OXValue objectOf(Bytes item) {
  if (std::optional<std::string> string = as<std::string>(item)) {
    return *std::move(string);
  }
  if (const std::optional<OXNumber> number = as<OXNumber>(item)) {
    return *number;
  }
  if (const std::optional<OXDate> date = as<OXDate>(item)) {
    return *date;
  }
  return isNull(headOf(item)) ? OXValue(OXNull()) : OXValue(OXMisfit());
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

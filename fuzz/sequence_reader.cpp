// SPDX-License-Identifier: MIT

// Arbitrary bytes as a stream of records; the first byte sets the size limit of an item.

#include <OrvexKit/platform/OXCBORSequence.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "RoundTrip.h"

namespace {

using ox::fuzz::require;
using State = OXCBORSequenceReader::State;

// Returns a file in memory that contains the stream.
int streamOf(std::span<const std::byte> stream) {
  static const int fd = ::memfd_create("stream", MFD_CLOEXEC);
  require(fd >= 0 && ::ftruncate(fd, 0) == 0, "a file in memory");
  require(::pwrite(fd, stream.data(), stream.size(), 0) == static_cast<ssize_t>(stream.size()),
          "a file with the stream in it");
  require(::lseek(fd, 0, SEEK_SET) == 0, "a file to be read again");
  return fd;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::size_t maximumItemSize = std::size_t{1} << (data[0] % 24);
  const auto stream = ox::fuzz::asBytes(data, size).subspan(1);
  OXCBORSequenceReader reader(streamOf(stream), maximumItemSize);
  std::size_t position = 0;
  while (const auto item = reader.next()) {
    require(!item->empty() && item->size() <= maximumItemSize, "the size of an item");
    require(item->size() <= stream.size() - position, "no more items than bytes");
    require(std::ranges::equal(*item, stream.subspan(position, item->size())), "the bytes");
    position += item->size();
    // The reader returns only well-formed items, and the decoder must agree.
    const std::byte kind = *item->begin() >> 5;
    if (kind == std::byte{5}) {
      require(!OXCBORDecoder(*item, OXCBORMode::keyed).hasFailed(), "a map is a record");
    }
    require(!OXCBORDecoder(*item, OXCBORMode::sequential).hasFailed(), "an item is a run");
    ox::fuzz::roundTrip(*item, OXCBORMode::keyed);
    ox::fuzz::roundTrip(*item, OXCBORMode::sequential);
  }
  const State state = reader.state();
  require(state == State::ended || state == State::truncated || state == State::malformed ||
              state == State::tooLarge,
          "an end");
  require((state == State::ended) == (position == stream.size()), "an end after everything");
  require(!reader.next() && reader.state() == state, "an end that stays");
  return 0;
}

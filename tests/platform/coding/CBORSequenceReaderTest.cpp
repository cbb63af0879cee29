// SPDX-License-Identifier: MIT

#include <OrvexKit/platform/OXCBORSequence.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <random>
#include <string>
#include <vector>

#include "support/AllocationCount.h"
#include "support/Bytes.h"
#include "support/ObservedSystem.h"
#include "support/Pipe.h"
#include "support/TemporaryFolder.h"

namespace {

using ox::test::Bytes;
using ox::test::Call;
using ox::test::fromHex;
using ox::test::joined;
using ox::test::ObservedSystem;
using ox::test::Pipe;
using ox::test::toHex;
using State = OXCBORSequenceReader::State;

// Every item in hexadecimal, then how the stream ended.
struct Outcome {
  std::vector<std::string> items;
  State state;

  friend bool operator==(const Outcome&, const Outcome&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
    return stream << testing::PrintToString(outcome.items) << " state "
                  << static_cast<int>(outcome.state);
  }
};

Outcome readAll(OXCBORSequenceReader& reader) {
  Outcome outcome{.items = {}, .state = State::reading};
  while (const auto item = reader.next()) {
    EXPECT_EQ(reader.state(), State::reading);
    outcome.items.push_back(toHex(*item));
  }
  outcome.state = reader.state();
  EXPECT_FALSE(reader.next()) << "a final state does not change";
  EXPECT_EQ(reader.state(), outcome.state);
  return outcome;
}

// The whole stream arrives at once.
Outcome readAtOnce(const Bytes& stream, std::size_t maximumItemSize) {
  Pipe pipe;
  pipe.put(stream);
  pipe.closeWriting();
  OXCBORSequenceReader reader(pipe.reading(), maximumItemSize);
  return readAll(reader);
}

// The stream arrives slowly: each `read` gets `piece` more bytes.
Outcome readInPieces(const Bytes& stream, std::size_t maximumItemSize, std::size_t piece) {
  Pipe pipe;
  ObservedSystem system;
  std::span<const std::byte> rest(stream);
  system.before(Call::read, [&] {
    if (rest.empty()) {
      pipe.closeWriting();
      return;
    }
    const std::span<const std::byte> next = rest.first(std::min(piece, rest.size()));
    pipe.put(next);
    rest = rest.subspan(next.size());
  });
  OXCBORSequenceReader reader(pipe.reading(), maximumItemSize);
  return readAll(reader);
}

struct StreamRow {
  std::string stream;
  std::vector<std::string> items;
  State state;
  std::size_t maximumItemSize = OXCBORSequenceReader::defaultMaximumItemSize;
};

const StreamRow streamRows[] = {
    {"", {}, State::ended},
    {"01", {"01"}, State::ended},
    {"01820203", {"01", "820203"}, State::ended},
    {"a161610180f660f5", {"a1616101", "80", "f6", "60", "f5"}, State::ended},
    {"9f01ffbf0102ff", {"9f01ff", "bf0102ff"}, State::ended},
    {"5f4101420203ff7fff", {"5f4101420203ff", "7fff"}, State::ended},
    {"c1fb41d452d9ec20000000", {"c1fb41d452d9ec200000", "00"}, State::ended},
    {"d9d9f7a0f818e0", {"d9d9f7a0"}, State::malformed},
    {"d9d9f7a0f820e0", {"d9d9f7a0", "f820", "e0"}, State::ended},
    {"818181818000", {"8181818180", "00"}, State::ended},

    // Truncated within an item.
    {"018202", {"01"}, State::truncated},
    {"82", {}, State::truncated},
    {"0118", {"01"}, State::truncated},
    {"6261", {}, State::truncated},
    {"9f", {}, State::truncated},
    {"9f01", {}, State::truncated},
    {"7f6161", {}, State::truncated},
    {"c1", {}, State::truncated},
    {"a101", {}, State::truncated},
    {"5b00000000000000", {}, State::truncated},

    // Invalid CBOR after valid items.
    {"01ff02", {"01"}, State::malformed},
    {"1c", {}, State::malformed},
    {"011e", {"01"}, State::malformed},
    {"8201ff", {}, State::malformed},
    {"5f6161ff", {}, State::malformed},
    // A chunk of the wrong kind is refused at once, whatever its declared size.
    {"5f61", {}, State::malformed},
    {"7f41", {}, State::malformed},
    {"5f7a", {}, State::malformed},
    {"7f5bffffffffffffffff", {}, State::malformed},
    {"5f5f", {}, State::malformed},
    {"5fc1", {}, State::malformed},
    {"7f9b", {}, State::malformed},
    {"5ffb", {}, State::malformed},
    {"5f4101f9", {}, State::malformed},
    {"bf01ff", {}, State::malformed},
    {"9f01ffff", {"9f01ff"}, State::malformed},

    // Sizes: of a string, of a container's contents, and of a container's declared length.
    {"6161 626161", {"6161"}, State::tooLarge, 2},
    {"0102", {"01", "02"}, State::ended, 1},
    {"0102", {"01", "02"}, State::ended, 0},
    {"", {}, State::ended, 0},
    {"1818", {}, State::tooLarge, 1},
    {"83010203", {"83010203"}, State::ended, 4},
    {"83010203", {}, State::tooLarge, 3},
    {"82186402", {}, State::tooLarge, 3},
    {"9f0102ff", {"9f0102ff"}, State::ended, 4},
    {"9f0102ff", {}, State::tooLarge, 3},
    {"7f61616161ff", {"7f61616161ff"}, State::ended, 6},
    {"7f61616161ff", {}, State::tooLarge, 5},
    {"c1c1c100", {"c1c1c100"}, State::ended, 4},
    {"c1c1c100", {}, State::tooLarge, 3},
    {"5bffffffffffffffff", {}, State::tooLarge},
    {"5affffffff", {}, State::tooLarge},
    {"7b0000000000100000", {}, State::tooLarge},
    {"7b00000000000ffff8", {}, State::tooLarge},
    {"7b00000000000ffff7", {}, State::truncated},
    {"9bffffffffffffffff", {}, State::tooLarge},
    {"9b8000000000000000", {}, State::tooLarge},
    {"bbffffffffffffffff", {}, State::tooLarge},
    {"bb8000000000000000", {}, State::tooLarge},
    {"bb7fffffffffffffff", {}, State::tooLarge},
    {"9a000ffffb", {}, State::truncated},
    {"9a000ffffc", {}, State::tooLarge},
    {"ba0007fffd", {}, State::truncated},
    {"ba0007fffe", {}, State::tooLarge},
    {"019bffffffffffffffff", {"01"}, State::tooLarge},
};

TEST(CBORSequenceReader, TakesStreamsApart) {
  for (const StreamRow& row : streamRows) {
    SCOPED_TRACE(row.stream + " up to " + std::to_string(row.maximumItemSize));
    const Bytes stream = fromHex(row.stream);
    const Outcome expected{.items = row.items, .state = row.state};
    EXPECT_EQ(readAtOnce(stream, row.maximumItemSize), expected);
    for (const std::size_t piece : {1U, 2U, 3U}) {
      EXPECT_EQ(readInPieces(stream, row.maximumItemSize, piece), expected) << piece;
    }
  }
}

TEST(CBORSequenceReader, EndsWhereverTheStreamIsCutOff) {
  const Bytes stream = fromHex("a2646e616d656161 6473697a6505 9f01820203ff 7f6161ff c100 f6");
  const std::size_t ends[] = {0, 14, 20, 24, 26, 27};
  for (std::size_t size = 0; size <= stream.size(); ++size) {
    SCOPED_TRACE(size);
    const auto whole = std::ranges::count_if(ends, [&](std::size_t end) { return end <= size; });
    const Bytes cut(stream.begin(), stream.begin() + static_cast<long>(size));
    const Outcome outcome = readAtOnce(cut, 1000);
    EXPECT_EQ(std::ssize(outcome.items), whole - 1);
    EXPECT_EQ(outcome.state,
              std::ranges::find(ends, size) == std::end(ends) ? State::truncated : State::ended);
  }
}

TEST(CBORSequenceReader, BoundsTheDepth) {
  for (const std::size_t depth : {64U, 65U, 100000U}) {
    Bytes nested(depth, std::byte{0x81});
    nested.push_back(std::byte{0x01});
    const Outcome outcome = readInPieces(joined({std::byte{0x00}}, nested), 1 << 20, 50000);
    EXPECT_EQ(outcome.items.size(), depth == 64 ? 2U : 1U);
    EXPECT_EQ(outcome.state, depth == 64 ? State::ended : State::malformed);
  }
}

// Items of all sizes, so that the buffer's end falls at every position in an item.
TEST(CBORSequenceReader, ReadsItemsOfAllSizes) {
  std::mt19937 random(8742);
  for (const std::size_t largest : {10U, 1000U, 70000U, 200000U}) {
    SCOPED_TRACE(largest);
    std::vector<std::size_t> sizes;
    Bytes stream;
    while (stream.size() < 1000000) {
      const std::size_t size = random() % largest;
      sizes.push_back(size);
      stream = joined(std::move(stream), fromHex("5a 00"));
      stream.push_back(static_cast<std::byte>(size >> 16));
      stream.push_back(static_cast<std::byte>(size >> 8));
      stream.push_back(static_cast<std::byte>(size));
      stream.resize(stream.size() + size, static_cast<std::byte>(sizes.size()));
    }
    Pipe pipe;
    const auto writer = std::async(std::launch::async, [&] {
      pipe.put(stream);
      pipe.closeWriting();
    });
    OXCBORSequenceReader reader(pipe.reading());
    std::size_t count = 0;
    std::size_t position = 0;
    while (const auto item = reader.next()) {
      ASSERT_LT(count, sizes.size());
      ASSERT_EQ(item->size(), sizes[count] + 5);
      ASSERT_TRUE(std::ranges::equal(*item, std::span(stream).subspan(position, item->size())));
      position += item->size();
      ++count;
    }
    EXPECT_EQ(reader.state(), State::ended);
    EXPECT_EQ(count, sizes.size());
  }
}

TEST(CBORSequenceReader, TakesAnItemOfTheGreatestSizeByteByByte) {
  constexpr std::size_t greatest = 300000;
  Bytes item = fromHex("5a 000493db");  // 299995
  item.resize(greatest, std::byte{0x55});
  const Outcome outcome = readInPieces(joined(item, fromHex("01")), greatest, 1);
  ASSERT_EQ(outcome.items.size(), 2U);
  EXPECT_EQ(outcome.items[0], toHex(item));
  EXPECT_EQ(outcome.items[1], "01");
  EXPECT_EQ(outcome.state, State::ended);
}

TEST(CBORSequenceReader, TakesNoMemoryPerItem) {
  Pipe pipe;
  OXCBORSequenceReader reader(pipe.reading());
  Bytes stream;
  for (int i = 0; i < 1000; ++i) {
    stream = joined(std::move(stream), fromHex("a1616101"));
  }
  const ox::test::AllocationCount allocations;
  for (int round = 0; round < 100; ++round) {
    pipe.put(stream);
    for (int i = 0; i < 1000; ++i) {
      ASSERT_TRUE(reader.next());
    }
  }
  EXPECT_EQ(allocations.count(), 0U);
}

TEST(CBORSequenceReader, GoesOnAfterAFailedAllocation) {
  Pipe pipe;
  Bytes item = fromHex("5a 00013880");  // 80000
  item.resize(item.size() + 80000, std::byte{0x55});
  const auto writer = std::async(std::launch::async, [&] {
    pipe.put(item);
    pipe.closeWriting();
  });
  OXCBORSequenceReader reader(pipe.reading());
  {
    const ox::test::AllocationFailure failure;
    EXPECT_THROW(reader.next(), std::bad_alloc);
  }
  const auto read = reader.next();
  ASSERT_TRUE(read);
  EXPECT_TRUE(std::ranges::equal(*read, item));
}

TEST(CBORSequenceReader, GoesOnAfterAnInterruption) {
  Pipe pipe;
  pipe.put(fromHex("0102"));
  pipe.closeWriting();
  ObservedSystem system;
  system.fail(Call::read, EINTR, 1);
  OXCBORSequenceReader reader(pipe.reading());
  EXPECT_EQ(readAll(reader), (Outcome{.items = {"01", "02"}, .state = State::ended}));
  EXPECT_EQ(reader.error(), 0);
}

TEST(CBORSequenceReader, SaysWhyItCannotRead) {
  Pipe pipe;
  pipe.put(fromHex("0182"));
  ObservedSystem system;
  system.fail(Call::read, EIO, 2);
  OXCBORSequenceReader reader(pipe.reading());
  EXPECT_EQ(reader.state(), State::reading);
  EXPECT_EQ(readAll(reader), (Outcome{.items = {"01"}, .state = State::unreadable}));
  EXPECT_EQ(reader.error(), EIO);

  OXCBORSequenceReader closed(-1);
  EXPECT_EQ(readAll(closed), (Outcome{.items = {}, .state = State::unreadable}));
  EXPECT_EQ(closed.error(), EBADF);
}

TEST(CBORSequenceReader, WaitsForNothingOnANonBlockingDescriptor) {
  Pipe pipe(O_NONBLOCK);
  OXCBORSequenceReader reader(pipe.reading());
  EXPECT_FALSE(reader.next());
  EXPECT_EQ(reader.state(), State::wouldBlock);
  pipe.put(fromHex("01 82"));
  const auto first = reader.next();
  ASSERT_TRUE(first);
  EXPECT_EQ(toHex(*first), "01");
  EXPECT_EQ(reader.state(), State::reading);
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.state(), State::wouldBlock);
  }
  pipe.put(fromHex("02 03"));
  const auto second = reader.next();
  ASSERT_TRUE(second);
  EXPECT_EQ(toHex(*second), "820203");
  EXPECT_FALSE(reader.next());
  EXPECT_EQ(reader.state(), State::wouldBlock);
  EXPECT_EQ(reader.error(), 0);
  pipe.closeWriting();
  EXPECT_FALSE(reader.next());
  EXPECT_EQ(reader.state(), State::ended);
}

using CBORSequenceReaderOfFile = ox::test::TemporaryFolderTest;

TEST_F(CBORSequenceReaderOfFile, ReadsFilesAndLeavesThemOpen) {
  ox::test::writeFile(in("stream"), "\x01\x61\x61");
  const int fd = ::open(in("stream").c_str(), O_RDONLY | O_CLOEXEC);
  {
    OXCBORSequenceReader reader(fd);
    EXPECT_EQ(readAll(reader), (Outcome{.items = {"01", "6161"}, .state = State::ended}));
  }
  EXPECT_EQ(::close(fd), 0);
  ox::test::removeOne(in("stream"));

  const int folder = ::open(work().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  OXCBORSequenceReader reader(folder);
  EXPECT_EQ(readAll(reader), (Outcome{.items = {}, .state = State::unreadable}));
  EXPECT_EQ(reader.error(), EISDIR);
  EXPECT_EQ(::close(folder), 0);
}

}  // namespace

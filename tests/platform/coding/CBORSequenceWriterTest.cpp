// SPDX-License-Identifier: MIT

#include <OrvexKit/platform/OXCBORSequence.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <future>

#include "support/AllocationCount.h"
#include "support/Bytes.h"
#include "support/ObservedSystem.h"
#include "support/Pipe.h"

namespace {

using ox::test::Bytes;
using ox::test::Call;
using ox::test::fromHex;
using ox::test::joined;
using ox::test::ObservedSystem;
using ox::test::Pipe;
using ox::test::toHex;

// Reads to the end of the stream.
Bytes contents(const Pipe& pipe) {
  Bytes all;
  std::array<std::byte, 4096> buffer{};
  for (ssize_t count = 0; (count = ::read(pipe.reading(), buffer.data(), buffer.size())) > 0;) {
    all = joined(std::move(all), std::span(buffer).first(static_cast<std::size_t>(count)));
  }
  return all;
}

// The bytes that `write` and a flush send to the pipe, which is read concurrently.
template <typename Write>
Bytes contentsAfter(Pipe& pipe, Write write) {
  const auto writer = std::async(std::launch::async, [&] {
    {
      OXCBORSequenceWriter sequence(pipe.writing());
      write(sequence);
      EXPECT_TRUE(sequence.flush());
      EXPECT_EQ(sequence.error(), 0);
    }
    pipe.closeWriting();
  });
  return contents(pipe);
}

// Ignores the signal during its lifetime.
class IgnoredBrokenPipe {
 public:
  IgnoredBrokenPipe() : before_(std::signal(SIGPIPE, SIG_IGN)) {}
  ~IgnoredBrokenPipe() { static_cast<void>(std::signal(SIGPIPE, before_)); }
  IgnoredBrokenPipe(const IgnoredBrokenPipe&) = delete;
  IgnoredBrokenPipe& operator=(const IgnoredBrokenPipe&) = delete;

 private:
  void (*before_)(int);
};

TEST(CBORSequenceWriter, PutsItemsOneAfterTheOther) {
  Pipe pipe;
  const Bytes written = contentsAfter(pipe, [](OXCBORSequenceWriter& writer) {
    EXPECT_TRUE(writer.write(fromHex("01")));
    EXPECT_TRUE(writer.write(fromHex("820203")));
    EXPECT_TRUE(writer.write({}));
    EXPECT_TRUE(writer.write(fromHex("6161")));
  });
  EXPECT_EQ(toHex(written), "018202036161");
}

TEST(CBORSequenceWriter, CollectsBeforeItWrites) {
  Pipe pipe;
  ASSERT_GE(::fcntl(pipe.writing(), F_SETPIPE_SZ, 1 << 17), 1 << 17);
  ObservedSystem system;
  OXCBORSequenceWriter writer(pipe.writing());
  const Bytes item(1000, std::byte{0x01});
  for (int i = 0; i < 65; ++i) {
    EXPECT_TRUE(writer.write(item));
  }
  EXPECT_EQ(system.count(Call::write), 0);
  EXPECT_TRUE(writer.write(item));  // more than 64 KiB
  EXPECT_EQ(system.count(Call::write), 1);
  EXPECT_TRUE(writer.flush());
  EXPECT_EQ(system.count(Call::write), 2);
  EXPECT_TRUE(writer.flush());  // nothing to write
  EXPECT_EQ(system.count(Call::write), 2);
}

TEST(CBORSequenceWriter, FlushesAtItsEnd) {
  Pipe pipe;
  { EXPECT_TRUE(OXCBORSequenceWriter(pipe.writing()).write(fromHex("820203"))); }
  pipe.closeWriting();
  EXPECT_EQ(toHex(contents(pipe)), "820203");
}

TEST(CBORSequenceWriter, KeepsTheOrderOfSmallAndLargeItems) {
  Pipe pipe;
  Bytes expected;
  const Bytes written = contentsAfter(pipe, [&](OXCBORSequenceWriter& writer) {
    unsigned char fill = 0;
    for (const std::size_t size :
         {1U, 65535U, 1U, 65536U, 3U, 65537U, 200000U, 10U, 40000U, 40000U}) {
      const Bytes item(size, std::byte{++fill});
      EXPECT_TRUE(writer.write(item));
      expected = joined(std::move(expected), item);
    }
  });
  EXPECT_TRUE(written == expected);
}

TEST(CBORSequenceWriter, TakesNoMemoryPerItem) {
  Pipe pipe;
  OXCBORSequenceWriter writer(pipe.writing());
  const Bytes item = fromHex("a1616101");
  const ox::test::AllocationCount allocations;
  for (int i = 0; i < 1000; ++i) {
    writer.write(item);
  }
  writer.flush();
  EXPECT_EQ(allocations.count(), 0U);
}

TEST(CBORSequenceWriter, ContinuesShortAndInterruptedWrites) {
  Pipe pipe(O_NONBLOCK);
  ASSERT_EQ(::fcntl(pipe.reading(), F_SETFL, 0), 0);
  ObservedSystem system;
  system.fail(Call::write, EINTR, 1);
  Bytes expected;
  // More than a pipe holds, so that the writer repeatedly finds it full.
  const Bytes written = contentsAfter(pipe, [&](OXCBORSequenceWriter& writer) {
    unsigned char fill = 0;
    for (int i = 0; i < 100; ++i) {
      const Bytes item(7777, std::byte{++fill});
      EXPECT_TRUE(writer.write(item));
      expected = joined(std::move(expected), item);
    }
  });
  EXPECT_TRUE(written == expected);
}

TEST(CBORSequenceWriter, WaitsUntilTheDescriptorTakesMore) {
  Pipe pipe(O_NONBLOCK);
  ObservedSystem system;
  system.fail(Call::poll, EINTR, 1);
  const int capacity = ::fcntl(pipe.writing(), F_GETPIPE_SZ);
  Bytes filling(static_cast<std::size_t>(capacity), std::byte{0x01});
  pipe.put(filling);
  // The pipe is full; it is read once the writer waits.
  std::size_t emptied = 0;
  system.before(Call::poll, [&] {
    if (system.count(Call::poll) == 1) {
      std::array<std::byte, 65536> buffer{};
      for (ssize_t count = 0; (count = ::read(pipe.reading(), buffer.data(), buffer.size())) > 0;) {
        emptied += static_cast<std::size_t>(count);
      }
    }
  });
  OXCBORSequenceWriter writer(pipe.writing());
  EXPECT_TRUE(writer.write(fromHex("820203")));
  EXPECT_TRUE(writer.flush());
  EXPECT_EQ(emptied, filling.size());
  EXPECT_GE(system.count(Call::poll), 2);
  pipe.closeWriting();
  EXPECT_EQ(toHex(contents(pipe)), "820203");
}

TEST(CBORSequenceWriter, SaysWhyItCannotWriteAndWritesNoMore) {
  const int errors[] = {EIO, ENOSPC, EBADF, EPIPE};
  for (const int error : errors) {
    SCOPED_TRACE(error);
    Pipe pipe;
    ObservedSystem system;
    system.fail(Call::write, error, 1);
    OXCBORSequenceWriter writer(pipe.writing());
    EXPECT_TRUE(writer.write(fromHex("01")));
    EXPECT_FALSE(writer.flush());
    EXPECT_EQ(writer.error(), error);
    EXPECT_FALSE(writer.write(fromHex("02")));
    EXPECT_FALSE(writer.write(Bytes(100000, std::byte{0x01})));
    EXPECT_FALSE(writer.flush());
    EXPECT_EQ(writer.error(), error);
    EXPECT_EQ(system.count(Call::write), 1);
    pipe.closeWriting();
    EXPECT_EQ(toHex(contents(pipe)), "");
  }
}

TEST(CBORSequenceWriter, FailsWhereverTheFailureComes) {
  const Bytes large(100000, std::byte{0x01});
  const Bytes item(40000, std::byte{0x01});
  {
    Pipe pipe;
    ObservedSystem system;
    system.fail(Call::write, EIO, 1);
    OXCBORSequenceWriter writer(pipe.writing());
    EXPECT_FALSE(writer.write(large));  // written immediately
    EXPECT_EQ(writer.error(), EIO);
  }
  {
    Pipe pipe;
    ObservedSystem system;
    system.fail(Call::write, EIO, 1);
    OXCBORSequenceWriter writer(pipe.writing());
    EXPECT_TRUE(writer.write(item));
    EXPECT_FALSE(writer.write(item));  // flushes the buffer first
    EXPECT_EQ(writer.error(), EIO);
  }
  {
    Pipe pipe;
    ObservedSystem system;
    system.fail(Call::write, EAGAIN, 1);
    system.fail(Call::poll, ENOMEM, 1);
    OXCBORSequenceWriter writer(pipe.writing());
    EXPECT_TRUE(writer.write(item));
    EXPECT_FALSE(writer.flush());
    EXPECT_EQ(writer.error(), ENOMEM);
  }
}

TEST(CBORSequenceWriter, FailsWhenTheReaderIsGone) {
  const IgnoredBrokenPipe ignored;
  for (const int flags : {0, O_NONBLOCK}) {
    Pipe pipe(flags);
    pipe.closeReading();
    OXCBORSequenceWriter writer(pipe.writing());
    EXPECT_TRUE(writer.write(fromHex("01")));
    EXPECT_FALSE(writer.flush());
    EXPECT_EQ(writer.error(), EPIPE);
  }
}

// A waiting writer wakes up when the reader closes the pipe.
TEST(CBORSequenceWriter, FailsWhenTheReaderGoesMeanwhile) {
  const IgnoredBrokenPipe ignored;
  Pipe pipe(O_NONBLOCK);
  ObservedSystem system;
  system.before(Call::poll, [&] { pipe.closeReading(); });
  OXCBORSequenceWriter writer(pipe.writing());
  EXPECT_FALSE(writer.write(Bytes(2000000, std::byte{0x01})));
  EXPECT_EQ(writer.error(), EPIPE);
}

}  // namespace

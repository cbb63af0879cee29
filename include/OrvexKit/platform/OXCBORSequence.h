// Streams of records between processes: CBOR sequences (RFC 8742), which are CBOR data items one
// after the other with nothing between them. Each record is one item (`OXCBOREncoder::item()`), and
// says itself where it ends.
//
//   // the worker
//   OXCBOREncoder encoder(OXCBORMode::keyed);
//   OXCBORSequenceWriter writer(STDOUT_FILENO);
//   for (const auto& file : files) {
//     encoder.reset();
//     file->encodeWithCoder(encoder);
//     writer.write(encoder.item());
//   }
//   return writer.flush() ? 0 : 1;
//
//   // the application
//   OXCBORSequenceReader reader(fd);
//   while (const auto item = reader.next()) {
//     if (auto file = OXCBORDecodeRecord<OXArchivedFile>(*item, OXCBORMode::keyed)) { ... }
//   }
//   const bool gotAll = reader.state() == OXCBORSequenceReader::State::ended;
//
// Both ends leave the descriptor to the caller: it is not closed, and its flags are left as they
// are.

#pragma once

#include <OrvexKit/platform/OXCBORCoder.h>
#include <OrvexKit/platform/OXExport.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

// Takes a stream apart into its items, whatever arrives and in whatever pieces: every item that it
// gives is one whole, well-formed data item (of any kind), and at the end it says how the stream
// ended. It reads ahead, so nobody else reads from the descriptor meanwhile.
//
// The memory it uses is bounded by the size that an item may have, and the time by the number of
// bytes that arrive. A call waits only for bytes (`read` is called again when a signal interrupts
// it), and the end of the stream wakes it up: a worker that dies closes its end of the pipe. So the
// reading process has to close its own copy of the writing end, or the stream never ends.
//
// Only `std::bad_alloc` is thrown, and what has arrived is kept: the next call goes on from there.
//
// Thread safety: one thread at a time.
class OX_EXPORT OXCBORSequenceReader {
 public:
  // How the stream stands: whether there may be another item, and if not, why.
  enum class State : std::uint8_t {
    reading,     // nothing has gone wrong and the stream has not ended
    wouldBlock,  // a descriptor with O_NONBLOCK has no more bytes for now: try again later
    ended,       // the stream ended after a whole item: everything that was sent has arrived
    truncated,   // the stream ended within an item
    malformed,   // what follows is not CBOR, or nested more than 64 levels deep
    tooLarge,    // what follows is an item larger than the greatest size
    unreadable,  // `read` failed, see `error()`
  };

  // The greatest size that an item may have when the caller says nothing else: 1 MiB.
  static constexpr std::size_t defaultMaximumItemSize = std::size_t{1} << 20;

  // Reads from `fd`, which can be a pipe, a socket or a file, and which the caller closes. Nothing
  // is read yet. `maximumItemSize` is in bytes and 1 at the least: 0 counts as 1. 64 KiB are taken
  // at once, and more only for an item that is larger.
  explicit OXCBORSequenceReader(int fd, std::size_t maximumItemSize = defaultMaximumItemSize);
  ~OXCBORSequenceReader();
  OXCBORSequenceReader(const OXCBORSequenceReader&) = delete;
  OXCBORSequenceReader& operator=(const OXCBORSequenceReader&) = delete;

  // The bytes of the next item, valid until the next call; or none, and `state()` says why. Items
  // that arrived whole before a failure are given first. After `wouldBlock` the next call goes on
  // where this one stopped; every other state without an item is final.
  //
  //   01 82 02 03, end     => 01; 82 02 03; none (ended)
  //   01 82 02, end        => 01; none (truncated)
  //   01 ff 02, end        => 01; none (malformed)
  //   5b ffffffffffffffff  => none (tooLarge)
  std::optional<OXCBORItem> next();

  // How the stream stands since the last call of `next()`.
  State state() const noexcept;

  // The `errno` of the `read` that failed, 0 in every state but `unreadable`.
  int error() const noexcept;

 private:
  class OX_INTERNAL Buffer;

  std::unique_ptr<Buffer> buffer_;
};

// Puts items together into a stream. They are collected and written about 64 KiB at a time.
//
// A call waits until the descriptor takes all of it, also one with O_NONBLOCK; interrupted and
// short writes are continued. When the reader is gone `write` fails with EPIPE, and before that the
// process gets SIGPIPE, which ends it: right for most workers, while a process that has to live on
// ignores the signal (`signal(SIGPIPE, SIG_IGN)`).
//
// Thread safety: one thread at a time.
class OX_EXPORT OXCBORSequenceWriter {
 public:
  // Writes to `fd`, which can be a pipe, a socket or a file, and which the caller closes after the
  // writer is gone. Nothing is written yet. Throws only `std::bad_alloc`; nothing else of it
  // throws.
  explicit OXCBORSequenceWriter(int fd);
  // Flushes, without a word when that fails.
  ~OXCBORSequenceWriter();
  OXCBORSequenceWriter(const OXCBORSequenceWriter&) = delete;
  OXCBORSequenceWriter& operator=(const OXCBORSequenceWriter&) = delete;

  // Adds one data item, which is copied as it is. False when writing has failed, now or before:
  // nothing more is written then, as nobody knows how much of the last item has arrived.
  bool write(std::span<const std::byte> item);

  // Writes what has been collected. The same answer as `write`.
  bool flush();

  // The `errno` of the write that failed, or 0.
  int error() const noexcept { return error_; }

 private:
  int fd_;
  int error_ = 0;
  std::size_t collected_ = 0;
  std::vector<std::byte> buffer_;
};

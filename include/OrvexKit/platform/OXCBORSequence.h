// SPDX-License-Identifier: MIT

/// \file
/// Streams of records between processes: CBOR sequences (RFC 8742), in which data items follow each
/// other without anything between them. Each record is one item, which says where it ends. The
/// caller owns the descriptor: neither reader nor writer closes it or changes its flags.
///
///     OXCBOREncoder encoder(OXCBORMode::keyed);    // the worker
///     OXCBORSequenceWriter writer(STDOUT_FILENO);
///     for (const auto& file : files) {
///       encoder.reset();
///       file->encodeWithCoder(encoder);
///       writer.write(encoder.item());
///     }
///     return writer.flush() ? 0 : 1;
///
///     OXCBORSequenceReader reader(fd);             // the application
///     while (const auto item = reader.next()) {
///       if (auto file = OXCBORDecodeRecord<OXArchivedFile>(*item, OXCBORMode::keyed)) { ... }
///     }
///     const bool gotAll = reader.state() == OXCBORSequenceReader::State::ended;

#pragma once

#include <OrvexKit/platform/OXCBORCoder.h>
#include <OrvexKit/platform/OXExport.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

/// Splits a stream into its items, whatever arrives and in whatever pieces, in one thread at a
/// time. Each item is one whole, well-formed data item of any kind; at the end `state()` says how
/// the stream ended. Reads ahead, so nobody else may read from the descriptor.
///
/// A call waits for bytes only, and the end of the stream wakes it: a worker that dies closes its
/// end of a pipe. So the reading process must close its own copy of that end. Repeats interrupted
/// reads. Memory is bounded by the largest allowed item, time by the bytes that arrive. Throws only
/// `std::bad_alloc`; the next call then continues, and no byte is lost.
/// \ingroup coding
class OX_EXPORT OXCBORSequenceReader {
 public:
  /// Whether there may be another item, and if not, why.
  enum class State : std::uint8_t {
    reading,     ///< No error so far, and the stream has not ended.
    wouldBlock,  ///< A descriptor with O_NONBLOCK has no more bytes for now: try again later.
    ended,       ///< Ended after a whole item, or empty. Check the worker's exit status too.
    truncated,   ///< The stream ended within an item.
    malformed,   ///< What follows is not CBOR, or nested more than 64 levels deep.
    tooLarge,    ///< The next item is larger than the maximum size.
    unreadable,  ///< `read` failed, see `error()`.
  };

  /// The default maximum size of an item: 1 MiB.
  static constexpr std::size_t defaultMaximumItemSize = std::size_t{1} << 20;

  /// Creates a reader of `fd`, a pipe, socket or file of the caller's, without reading yet. The
  /// maximum is in bytes; 0 counts as 1. Allocates 64 KiB, and more only for larger items.
  explicit OXCBORSequenceReader(int fd, std::size_t maximumItemSize = defaultMaximumItemSize);
  ~OXCBORSequenceReader();
  OXCBORSequenceReader(const OXCBORSequenceReader&) = delete;
  OXCBORSequenceReader& operator=(const OXCBORSequenceReader&) = delete;

  /// Returns the next item, valid until the next call, or none, and `state()` says why. All whole
  /// items before an error are returned first. Call again after `wouldBlock`; the others are final.
  ///
  ///     01 82 02 03, end     => 01; 82 02 03; none (ended)
  ///     01 82 02, end        => 01; none (truncated)
  ///     01 ff 02, end        => 01; none (malformed)
  ///     5b ffffffffffffffff  => none (tooLarge)
  std::optional<OXCBORItem> next();

  /// Returns the state of the stream after the last call of `next()`.
  State state() const noexcept;

  /// Returns the `errno` of the failed `read` in the state `unreadable`, else 0.
  int error() const noexcept;

 private:
  class OX_INTERNAL Buffer;

  std::unique_ptr<Buffer> buffer_;
};

/// Writes items to a stream, collected into pieces of about 64 KiB, in one thread at a time.
///
/// A write waits until the descriptor takes everything, also with O_NONBLOCK, and continues after
/// an interruption or a short write. When the reader is gone, SIGPIPE ends the process: right for
/// most workers. One that ignores the signal (`signal(SIGPIPE, SIG_IGN)`) gets EPIPE.
/// \ingroup coding
class OX_EXPORT OXCBORSequenceWriter {
 public:
  /// Creates a writer to `fd`, a pipe, socket or file that the caller closes afterwards, and writes
  /// nothing yet. Of this class, only the constructor throws, and only `std::bad_alloc`.
  explicit OXCBORSequenceWriter(int fd);
  ~OXCBORSequenceWriter();  ///< Flushes, and ignores a failure.
  OXCBORSequenceWriter(const OXCBORSequenceWriter&) = delete;
  OXCBORSequenceWriter& operator=(const OXCBORSequenceWriter&) = delete;

  /// Adds a copy of one data item, unchecked. Returns false if this or an earlier write failed:
  /// then nothing more is written, as part of an item may have arrived.
  bool write(std::span<const std::byte> item);

  /// Writes what has been collected. Returns false if this or an earlier write failed.
  bool flush();

  /// Returns the `errno` of the failed write, or 0.
  int error() const noexcept { return error_; }

 private:
  int fd_;
  int error_ = 0;
  std::size_t collected_ = 0;
  std::vector<std::byte> buffer_;
};

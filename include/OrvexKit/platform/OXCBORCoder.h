// SPDX-License-Identifier: MIT

/// \file
/// The library's own coder: records as CBOR (RFC 8949), keyed or sequential.
///
///     OXCBOREncoder encoder(OXCBORMode::keyed);
///     file->encodeWithCoder(encoder);
///     send(encoder.item());
///     ...
///     auto file = OXCBORDecodeRecord<OXArchivedFile>(received, OXCBORMode::keyed);   // or null
///
/// The coded form:
/// - A keyed record is one map with text keys. A sequential record is a run of items, or one array
///   where a record has to be one data item, as in a stream.
/// - The null marker is null, a boolean is a boolean, an integer is an integer (major type 0, or 1
///   if negative), and a double is a double of eight bytes.
/// - A date is tag 1 on a double: seconds since 1970-01-01 00:00 UTC (RFC 8949, 3.4.2).
/// - A string or key is a text string if it is UTF-8, else a byte string: decoders may refuse a
///   text string that is not UTF-8.
/// - Lengths are definite and in the shortest form.
///
///     "docs"                              => 64 646f6373
///     "\xff"                              => 41 ff
///     OXDate at 0.5 s                     => c1 fb 3fe0000000000000
///     OXNumber(std::uint64_t{500})        => 19 01f4
///     OXNumber(std::int64_t{-1})          => 20
///     OXNumber(true)                      => f5
///     OXNumber(1.0)                       => fb 3ff0000000000000
///     OXNull()                            => f6
///     path = "docs", and then isFolder = true
///       keyed                             => a2 64 70617468 64 646f6373 68 6973466f6c646572 f5
///       sequential                        => 64 646f6373 f5
///       sequential, as one item           => 82 64 646f6373 f5

#pragma once

#include <OrvexKit/platform/OXCoder.h>
#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXValue.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

/// \addtogroup coding
/// \{

/// The two forms of a coded record.
enum class OXCBORMode : std::uint8_t {
  keyed,       ///< A map: each object under its key, in any order.
  sequential,  ///< A run of items: the objects in the order of writing, without keys.
};

/// Encodes records, one at a time, in one thread at a time. Memory grows to the largest record and
/// is reused: once it is large enough, nothing is allocated.
///
/// Take each record with `bytes()` or `item()`, or call `reset()`: what is written afterwards
/// begins a new one. Without that, a run holds both records; but as a map holds each key once, a
/// second library record replaces all that was written, also what a derived class has just written.
/// Use each key once: this is not checked. Functions of the mode that was not chosen do nothing.
class OX_EXPORT OXCBOREncoder final : public OXCoder {
 public:
  /// Creates an encoder without objects.
  explicit OXCBOREncoder(OXCBORMode mode);

  /// \cond
  bool allowsKeyedCoding() const override;
  /// \endcond
  void encodeObjectForKey(const OXValueView& object, std::string_view key) override;
  void encodeObject(const OXValueView& object) override;

  std::optional<OXValue> decodeObjectForKey(std::string_view key) override;  ///< Always no object.
  std::optional<OXValue> decodeObject() override;                            ///< Always no object.

  /// Returns the encoded bytes: the map of a keyed record (`a0` if empty), the run of a sequential
  /// one (no bytes if empty). Valid until the next use of the encoder, which owns them.
  std::span<const std::byte> bytes();

  /// Returns the record as one data item: the map of a keyed record (`a0` if empty), the array of a
  /// sequential one (`80` if empty). Valid until the next use of the encoder, which owns the bytes.
  std::span<const std::byte> item();

  /// Discards what was encoded, taken or not, and keeps the memory.
  void reset() noexcept;

 private:
  friend class OXCBORFields;

  // `begin` returns where to write objects of at most `size` bytes; `end` adds what was written.
  OX_INTERNAL unsigned char* begin(bool isRecord, std::uint64_t size);
  OX_INTERNAL void end(const unsigned char* end, std::size_t objects) noexcept;

  OXCBORMode mode_;
  bool hasRecord_ = false;             // a library record was written, perhaps among other objects
  bool taken_ = false;                 // `bytes()` or `item()` returned what was written
  std::size_t count_ = 0;              // of the objects written
  std::vector<unsigned char> buffer_;  // room for the head of a map or an array, then the objects
  std::size_t end_;                    // of the objects in `buffer_`
};

/// The bytes of one whole, well-formed data item from an `OXCBORSequenceReader`, which owns them:
/// valid until its next call. A decoder that is given the item itself does not validate it again.
class OXCBORItem : public std::span<const std::byte> {
 private:
  friend class OXCBORSequenceReader;
  explicit OXCBORItem(std::span<const std::byte> bytes) noexcept : span(bytes) {}
};

/// Decodes the objects of one record in place, in one thread at a time. The caller owns the bytes
/// and keeps them unchanged while the decoder is used.
///
/// Accepts any bytes, and validates them once, before the first object. Unless they are well-formed
/// CBOR from the first byte to the last (one map for a keyed record, one array or a run of items
/// for a sequential one), `hasFailed()` is true from the start, and every request returns an
/// `OXMisfit`. So does a request past the last object or for an item that is no object. A record
/// with an `OXMisfit` becomes null, and never has made-up fields.
///
/// Data items become these objects:
/// - text and byte strings, of any bytes and also in chunks: a string;
/// - integers from -2^63 up and floating-point numbers, of any size: a number;
/// - tag 1 on an integer or a floating-point number: a date;
/// - true and false: a number; null: the null marker;
/// - arrays, maps, other tags (which may change their content's meaning), undefined and other
///   simple values: no object. Asking for one is a failure; under an unused key it is harmless.
///
/// Containers and chunked strings may nest 64 levels deep. Only returned strings are allocated. A
/// library record takes one more pass over the bytes, whatever its keys and their number. A host's
/// own look-up takes at most one pass over the map; nothing grows with the depth.
class OX_EXPORT OXCBORDecoder final : public OXCoder {
 public:
  /// Creates a decoder for bytes, which are not copied.
  OXCBORDecoder(std::span<const std::byte> bytes, OXCBORMode mode) noexcept;
  /// Creates a decoder for an item, which is neither copied nor validated again.
  OXCBORDecoder(const OXCBORItem& item, OXCBORMode mode) noexcept;

  /// \cond
  bool allowsKeyedCoding() const override;
  /// \endcond

  /// Returns the object under `key`, the first of equal ones, or none if it is absent or the mode
  /// is sequential. A key that is not a string is never found.
  std::optional<OXValue> decodeObjectForKey(std::string_view key) override;

  /// Returns the next object; after the last fails with an `OXMisfit`. In keyed mode, no object.
  std::optional<OXValue> decodeObject() override;

  void encodeObjectForKey(const OXValueView& object, std::string_view key) override;  ///< Ignored.
  void encodeObject(const OXValueView& object) override;                              ///< Ignored.

  /// Returns whether the bytes are no record, or a request failed: for an object after the last
  /// one, or for an item that is no object. Discard the results then. An absent key is no failure.
  bool hasFailed() const noexcept;

  /// Returns whether a sequential record has no more objects. True if keyed and after a failure.
  bool isAtEnd() const noexcept;

 private:
  friend class OXCBORFields;

  OX_INTERNAL bool open() noexcept;
  OX_INTERNAL OXValue give(std::span<const std::byte>& rest);

  std::span<const std::byte> bytes_;    // the contents of the map or the array, or the run
  std::span<const std::byte> next_;     // the part of them that is not read yet
  std::uint64_t passed_ = 0;            // keyed: the hash bits of the keys before `next_`
  std::optional<std::uint64_t> count_;  // not validated entries or items, if a head states it
  OXCBORMode mode_;
  mutable bool isChecked_ = false;  // the bytes were validated
  mutable bool failed_ = false;
};

#ifdef __cpp_exceptions
/// Returns the record that the decoder's bytes hold, or null if they hold none. Safe for any bytes:
/// throws only `std::bad_alloc`. If `Record` throws `std::out_of_range`, as `OXArchivedFile` does
/// for an empty path, returns null. `Record` has a static `initWithCoder(OXCoder&)` that returns a
/// `std::shared_ptr<Record>`; or it is derived from a library record, and its
/// `decodeWithCoder(OXCoder&)` fills a new one. Ignores keys that `Record` does not ask for, and
/// items after those that it reads. Not declared with -fno-exceptions.
///
///     OXCBORDecodeRecord<OXArchivedFile>(bytes, OXCBORMode::keyed)
///     a1 64 70617468 61 61   => path "a", all else zero or null
///     a0                     => a fresh record
///     a1 64 70617468 01      => null     a number is no path
///     a1 64 70617468 60      => null     nor is the empty string
///     a1 64 70617468         => null     cut off
template <typename Record>
std::shared_ptr<Record> OXCBORDecodeRecord(OXCBORDecoder&& decoder) {
  try {
    std::shared_ptr<Record> record = [&] {
      if constexpr (std::convertible_to<decltype(Record::initWithCoder(decoder)),
                                        std::shared_ptr<Record>>) {
        return Record::initWithCoder(decoder);
      } else {
        auto made = std::make_shared<Record>();
        const bool isMade = made->decodeWithCoder(decoder);
        return isMade ? std::move(made) : nullptr;
      }
    }();
    if (decoder.hasFailed()) {
      record.reset();
    }
    return record;
  } catch (const std::out_of_range&) {
    return nullptr;
  }
}

/// Returns the record that the bytes hold, or null. Throws only `std::bad_alloc`.
template <typename Record>
std::shared_ptr<Record> OXCBORDecodeRecord(std::span<const std::byte> bytes, OXCBORMode mode) {
  return OXCBORDecodeRecord<Record>(OXCBORDecoder(bytes, mode));
}
/// Returns the record that the item holds, or null if it is none. Does not validate it again.
template <typename Record>
std::shared_ptr<Record> OXCBORDecodeRecord(const OXCBORItem& item, OXCBORMode mode) {
  return OXCBORDecodeRecord<Record>(OXCBORDecoder(item, mode));
}
#endif
/// \}

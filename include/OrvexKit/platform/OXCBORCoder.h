// The library's own coder: records as CBOR (RFC 8949), keyed or sequential.
//
//   OXCBOREncoder encoder(OXCBORMode::keyed);
//   file->encodeWithCoder(encoder);
//   send(encoder.item());
//   ...
//   auto file = OXCBORDecodeRecord<OXArchivedFile>(received, OXCBORMode::keyed);   // or null
//
// The coded form:
// - A keyed record is one map with text keys. A sequential record is a run of items, one after the
//   other, without anything around them; where a record has to be one data item, as in a stream of
//   records, the run stands in an array.
// - The null marker is null, a boolean number is a boolean, an integer is an integer (major type 0,
//   or 1 when it is negative), a double is a double, always of eight bytes.
// - A date is tag 1 on a double: seconds since 1970-01-01 00:00 UTC (RFC 8949, 3.4.2).
// - A string is a text string if it is UTF-8, and else a byte string, because other decoders may
//   refuse text that is not UTF-8, while names on Linux are any bytes. The same goes for keys.
// - Lengths are always given, and always in their shortest form.
//
//   "docs"                              => 64 646f6373
//   "\xff"                              => 41 ff
//   OXDate at 0.5 s                     => c1 fb 3fe0000000000000
//   OXNumber(std::uint64_t{500})        => 19 01f4
//   OXNumber(std::int64_t{-1})          => 20
//   OXNumber(true)                      => f5
//   OXNumber(1.0)                       => fb 3ff0000000000000
//   OXNull()                            => f6
//   path = "docs", and then isFolder = true
//     keyed                             => a2 64 70617468 64 646f6373 68 6973466f6c646572 f5
//     sequential                        => 64 646f6373 f5
//     sequential, as one item           => 82 64 646f6373 f5

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
#include <vector>

// In which of the two forms a record is coded.
enum class OXCBORMode : std::uint8_t {
  keyed,       // a map: each object under its key, in any order
  sequential,  // a run of items: the objects in the order of writing, without keys
};

// Writes one record at a time. Its memory grows to the largest record and is kept for the next
// ones, so that coding many records takes memory from the heap for the first few only.
//
// `reset()` makes it ready for the next record. One of the library's records that is written
// without that is not lost: once `bytes()` or `item()` was called after a record, whatever is
// written next starts anew, and in a map, where two records cannot stand, the second one always
// does. Before that, further objects join the record, and further records the sequential run.
//
// What belongs to the other mode is ignored. A key is used once in a record.
//
// Thread safety: as for every coder, one thread at a time.
class OX_EXPORT OXCBOREncoder final : public OXCoder {
 public:
  // An encoder that nothing has been written to yet.
  explicit OXCBOREncoder(OXCBORMode mode);

  bool allowsKeyedCoding() const override;
  void encodeObjectForKey(const OXValueView& object, std::string_view key) override;
  void encodeObject(const OXValueView& object) override;

  // Reading is not what an encoder does: always no object.
  std::optional<OXValue> decodeObjectForKey(std::string_view key) override;
  std::optional<OXValue> decodeObject() override;

  // What has been written so far: the map of a keyed record (`a0` when nothing was written), the
  // run of a sequential one (no bytes when nothing was written). Valid until the encoder is used
  // again.
  std::span<const std::byte> bytes();

  // The same as exactly one data item: the map of a keyed record, the array of a sequential one
  // (`80` when nothing was written). Valid until the encoder is used again.
  std::span<const std::byte> item();

  // Forgets what has been written, and keeps the memory.
  void reset() noexcept;

 private:
  friend class OXCBORFields;

  // Where the next objects go, of at most `size` bytes; and what was written there.
  OX_INTERNAL unsigned char* begin(bool isRecord, std::uint64_t size);
  OX_INTERNAL void end(const unsigned char* end, std::size_t objects) noexcept;
  OX_INTERNAL void grow(std::uint64_t size);

  OXCBORMode mode_;
  bool hasRecord_ = false;  // a whole record of the library's, perhaps among other objects
  bool taken_ = false;      // and it was asked for
  std::size_t count_ = 0;   // objects written
  // The run, with room before it for the head of a map or an array.
  std::vector<unsigned char> buffer_;
  std::size_t end_;  // of the run in `buffer_`
};

// The bytes of one data item that an `OXCBORSequenceReader` has found to be whole and well-formed.
// They are bytes like any other, but a decoder that is given the item itself does not look through
// them again.
class OXCBORItem : public std::span<const std::byte> {
 private:
  friend class OXCBORSequenceReader;
  explicit OXCBORItem(std::span<const std::byte> bytes) noexcept : span(bytes) {}
};

// Reads the objects of one record, in place, from bytes that the caller owns and keeps unchanged
// for as long as the decoder is used.
//
// Any bytes may be given to it. They are looked through once, before anything is given; unless they
// are well-formed CBOR from the first byte to the last, and one map for a keyed record, one array
// or a run of items for a sequential one, `hasFailed()` is true from the start. Then, and whenever
// something is asked for that has no answer, the decoder gives an `OXMisfit`, which stands for no
// field's value, so that a record that is read from it becomes null and never one with made-up
// fields.
//
// How data items become objects:
// - text and byte strings a string, whatever their bytes, also those given in chunks;
// - integers and floating-point numbers of any size a number; integers below -2^63 fit none;
// - tag 1 on an integer or a floating-point number a date;
// - true and false a number, null the null marker;
// - anything else (arrays, maps, other tags, which may change the meaning of what they stand on,
//   undefined and other simple values) fits nothing and fails as above when it is asked for, but
//   harms nothing under a key that nobody asks for.
//
// Containers and chunked strings may lie in each other up to 64 levels deep; deeper ones fail. No
// memory is taken but for the strings that are handed out, and nothing grows with the depth. One of
// the library's records takes one more pass, whatever the keys and their number. A look-up of a
// host's own begins where the last one ended, so that keys in the order of writing are found at
// once; a key that is not there costs one pass over the map.
//
// Thread safety: as for every coder, one thread at a time.
class OX_EXPORT OXCBORDecoder final : public OXCoder {
 public:
  // The bytes are not copied.
  OXCBORDecoder(std::span<const std::byte> bytes, OXCBORMode mode) noexcept;
  // The same without another look through the item.
  OXCBORDecoder(const OXCBORItem& item, OXCBORMode mode) noexcept;

  bool allowsKeyedCoding() const override;

  // The object under the key, or none when there is none. A key that occurs more than once counts
  // where it occurs first. Keys that are not strings are never found. In sequential mode no object.
  std::optional<OXValue> decodeObjectForKey(std::string_view key) override;

  // The next object. After the last one there is none to give, which is a failure: an `OXMisfit`.
  // In keyed mode no object.
  std::optional<OXValue> decodeObject() override;

  // Writing is not what a decoder does: ignored.
  void encodeObjectForKey(const OXValueView& object, std::string_view key) override;
  void encodeObject(const OXValueView& object) override;

  // Whether the bytes were no record at all, or an object was asked for that could not be given:
  // one beyond the last of a sequential record, or a data item that is no object. (A key without an
  // object is no failure.) What was read from the decoder is then not to be used.
  bool hasFailed() const noexcept;

  // Whether no object is left to be read in sequential mode. True in keyed mode and after a
  // failure.
  bool isAtEnd() const noexcept;

 private:
  friend class OXCBORFields;

  OX_INTERNAL bool open() noexcept;
  OX_INTERNAL void check() const noexcept;
  OX_INTERNAL OXValue give(std::span<const std::byte>& rest);

  // What the map holds, or what of the array or the run is still to be read.
  std::span<const std::byte> bytes_;
  OXCBORMode mode_;
  mutable bool isChecked_ = false;  // the bytes are known to be well-formed, or not to be
  mutable bool failed_ = false;
  std::optional<std::uint64_t> count_;  // of items or entries, where a head says it
  std::uint64_t taken_ = 0;             // items that were read before the rest was checked
};

// The record of class `Record` that the decoder's bytes hold, or null when they do not hold one:
// whatever the bytes are, nothing else happens, and only `std::bad_alloc` is thrown. `Record` has
// an `initWithCoder(OXCoder&)` that makes one, or is derived from one of the library's records and
// has a `decodeWithCoder(OXCoder&)` that fills a new one; when it refuses a value by
// `std::out_of_range`, as `OXArchivedFile` does with an empty path, that is null, too. Keys that it
// does not ask for, and items after those that it reads, are passed over.
//
//   OXCBORDecodeRecord<OXArchivedFile>(bytes, OXCBORMode::keyed)
//     a1 64 70617468 61 61   => path "a", all else zero or null
//     a0                     => a fresh record
//     a1 64 70617468 01      => null     a number is no path
//     a1 64 70617468 60      => null     nor is the empty string
//     a1 64 70617468         => null     cut off
template <typename Record>
std::shared_ptr<Record> OXCBORDecodeRecord(OXCBORDecoder&& decoder) {
  try {
    std::shared_ptr<Record> record;
    if constexpr (std::convertible_to<decltype(Record::initWithCoder(decoder)),
                                      std::shared_ptr<Record>>) {
      record = Record::initWithCoder(decoder);
    } else {
      record = std::make_shared<Record>();
      if (!record->decodeWithCoder(decoder)) {
        return nullptr;
      }
    }
    return decoder.hasFailed() ? nullptr : record;
  } catch (const std::out_of_range&) {
    return nullptr;
  }
}

// The same from bytes, and from an item of a sequence.
template <typename Record>
std::shared_ptr<Record> OXCBORDecodeRecord(std::span<const std::byte> bytes, OXCBORMode mode) {
  return OXCBORDecodeRecord<Record>(OXCBORDecoder(bytes, mode));
}
template <typename Record>
std::shared_ptr<Record> OXCBORDecodeRecord(const OXCBORItem& item, OXCBORMode mode) {
  return OXCBORDecodeRecord<Record>(OXCBORDecoder(item, mode));
}

// A record's fields in CBOR, without an object and a call for each of them.
//
// A record states its fields once, as a function that takes a coder of fields and calls it for each
// of them, in the order of writing (see `ArchivedFileCoding.cpp`):
//
//   coder.field(key, textOrDate)
//   coder.field(key, number, &OXNumber::boolValue)   or another getter
//
// `Writer` and `Reader` are such coders.

#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "OrvexKit/platform/OXCBORCoder.h"
#include "platform/coding/CBORItem.h"

namespace ox {

// A constant key together with its head, as it stands in a map.
template <std::size_t size>
class FieldKey {
 public:
  // NOLINTNEXTLINE(modernize-avoid-c-arrays): a literal is one
  consteval FieldKey(const char (&text)[size]) {
    static_assert(size <= 24, "a longer text has a longer head");
    coded_[0] = static_cast<char>(0x60 + size - 1);
    std::string_view(text, size - 1).copy(coded_.data() + 1, size - 1);
  }

  constexpr std::string_view text() const noexcept { return {coded_.data() + 1, size - 1}; }

  unsigned char* write(unsigned char* to) const noexcept {
    std::memcpy(to, coded_.data(), size);
    return to + size;
  }
  bool isAt(cbor::Bytes bytes) const noexcept {
    return bytes.size() >= size && std::memcmp(bytes.data(), coded_.data(), size) == 0;
  }

 private:
  std::array<char, size> coded_{};
};

}  // namespace ox

// What the coders allow the library's own records.
class OXCBORFields {
 public:
  // The coder as one of the library's own, or null.
  static OXCBOREncoder* encoder(OXCoder& coder) noexcept {
    return coder.own_ == OXCoder::Own::encoder ? static_cast<OXCBOREncoder*>(&coder) : nullptr;
  }
  static OXCBORDecoder* decoder(OXCoder& coder) noexcept {
    return coder.own_ == OXCoder::Own::decoder ? static_cast<OXCBORDecoder*>(&coder) : nullptr;
  }

  // Writes the fields that `describe` states, of which the strings have `textSize` bytes, as one
  // record: all of them or, without memory, none.
  template <typename Describe>
  static void write(OXCBOREncoder& encoder, std::size_t textSize, Describe describe) {
    if (encoder.mode_ == OXCBORMode::keyed) {
      writeTo<true>(encoder, textSize, describe);
    } else {
      writeTo<false>(encoder, textSize, describe);
    }
  }

  // Reads the fields that `describe` states, each where it occurs first, in one pass. False when an
  // object does not fit, or is missing from a sequential record, whose objects are all passed over.
  template <typename Describe>
  static bool read(OXCBORDecoder& decoder, Describe describe) {
    return decoder.mode_ == OXCBORMode::keyed ? readFrom<true>(decoder, describe)
                                              : readFrom<false>(decoder, describe);
  }

 private:
  template <bool keyed>
  class Writer;
  template <bool keyed>
  class Reader;

  template <bool keyed, typename Describe>
  static void writeTo(OXCBOREncoder& encoder, std::size_t textSize, Describe describe) {
    constexpr std::size_t fields = 16;
    constexpr std::size_t fieldSize = 24 + 1 + ox::cbor::longestHead;  // a key, a tag, a number
    Writer<keyed> writer(encoder.begin(true, textSize + fields * fieldSize));
    describe(writer);
    encoder.end(writer.next_, writer.count_);
  }

  template <bool keyed, typename Describe>
  static bool readFrom(OXCBORDecoder& decoder, Describe describe) {
    if (keyed ? decoder.hasFailed() : decoder.failed_) {
      return false;
    }
    Reader<keyed> reader(decoder.bytes_);
    reader.read(describe);
    if constexpr (!keyed) {
      decoder.bytes_ = reader.rest_;
      decoder.taken_ += reader.taken_;
      decoder.check();
    }
    decoder.failed_ = decoder.failed_ || reader.failed_;
    return !decoder.failed_ && reader.fits_;
  }
};

// Writes fields to where there is room for them.
template <bool keyed>
class OXCBORFields::Writer {
 public:
  explicit Writer(unsigned char* next) noexcept : next_(next) {}

  template <typename Object>
  void field(const auto& key, const std::optional<Object>& object) {
    if (object) {
      put(key, *object);
    } else if (!keyed) {
      put(key, OXNull());
    }
  }
  void field(const auto& key, std::unsigned_integral auto number, auto /*getter*/) {
    put(key, number);
  }

 private:
  friend class OXCBORFields;

  void put(const auto& key, const auto& object) noexcept {
    next_ = ox::cbor::write(keyed ? key.write(next_) : next_, object);
    ++count_;
  }

  unsigned char* next_;
  std::size_t count_ = 0;
};

// Reads fields from a map's entries, or from a run of items.
//
// Keyed, the description is gone through again and again, each time from the entry that comes next:
// each field takes the entry if it has the field's key. Entries in the order of writing are all
// taken the first time. When nobody took the next entry, it is offered once more by its key as an
// item, which may be in other bytes than keys mostly are, and then passed over.
template <bool keyed>
class OXCBORFields::Reader {
 public:
  explicit Reader(ox::cbor::Bytes rest) noexcept : rest_(rest) {}

  template <typename Describe>
  void read(Describe describe) {
    if constexpr (!keyed) {
      return describe(*this);
    }
    while (!rest_.empty()) {
      const std::size_t before = rest_.size();
      field_ = 0;
      describe(*this);
      if (key_) {
        ox::cbor::takeItem(rest_);
        key_.reset();
      } else if (rest_.size() == before) {
        key_ = ox::cbor::takeItem(rest_);
      }
    }
  }

  template <typename Object>
  [[gnu::always_inline]] void field(const auto& key, std::optional<Object>& object) {
    ox::cbor::Item item;
    if (take(key, item)) {
      object = ox::cbor::as<Object>(item);
      refuse(item, !object);
    }
  }
  template <typename Number>
  [[gnu::always_inline]] void field(const auto& key, Number& number, auto getter) {
    ox::cbor::Item item;
    if (!take(key, item)) {
      return;
    }
    // What the conversion comes to for most numbers, without the call.
    if (item.head.kind == ox::cbor::Kind::unsignedInteger) {
      number = static_cast<Number>(item.head.number);
    } else if (std::same_as<Number, bool> && ox::cbor::isBoolean(item.head)) {
      number = item.head.number == ox::cbor::trueValue;
    } else {
      const std::optional<OXNumber> object = ox::cbor::as<OXNumber>(item);
      number = object ? static_cast<Number>(((*object).*getter)()) : number;
      refuse(item, !object);
    }
  }

 private:
  friend class OXCBORFields;

  void refuse(const ox::cbor::Item& item, bool isRefused) {
    if (isRefused) {
      fits_ = false;
      // A string is an object, and not copied to find that out.
      failed_ = failed_ || (!ox::cbor::isString(item.head.kind) &&
                            std::holds_alternative<OXMisfit>(ox::cbor::objectOf(item)));
    }
  }

  // Whether there is a value for the field, which is in `item` then. Keyed, the first entry under
  // the key counts; sequentially, the null marker stands for no value.
  [[gnu::always_inline]] bool take(const auto& key, ox::cbor::Item& item) {
    if constexpr (keyed) {
      const std::uint32_t bit = std::uint32_t{1} << field_;
      ++field_;
      if (!isAt(key)) {
        return false;
      }
      item = ox::cbor::takeItem(rest_);
      const bool isFirst = (taken_ & bit) == 0;
      taken_ |= bit;
      return isFirst;
    } else {
      item = ox::cbor::takeItem(rest_);
      ++taken_;
      return !ox::cbor::isNull(item.head);
    }
  }

  // Whether the value under `key` comes next; the key itself is passed over then.
  [[gnu::always_inline]] bool isAt(const auto& key) {
    if (key_ ? !ox::cbor::isText(*key_, key.text()) : !key.isAt(rest_)) {
      return false;
    }
    rest_ = rest_.subspan(key_ ? 0 : key.text().size() + 1);
    key_.reset();
    return true;
  }

  ox::cbor::Bytes rest_;
  std::optional<ox::cbor::Item> key_;  // of the entry whose value comes next, when it was read
  std::uint32_t taken_ = 0;  // a bit for each field that had its entry; items, in sequential mode
  unsigned field_ = 0;
  bool fits_ = true;     // every value was of the kind that its field takes
  bool failed_ = false;  // one was missing, or was no object
};

// SPDX-License-Identifier: MIT

// A record's fields in a coder, which for the library's own coders takes neither an object nor a
// call for each of them.
//
// A record states its fields once, as a function `describe(fields, coder)` that calls a coder of
// fields for each of them, in the order of writing (see `ArchivedFileCoding.cpp`):
//
//   coder.field("key"_key, fields.textOrDate)
//   coder.field("key"_key, fields.number, &OXNumber::boolValue)   or another getter

#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "OrvexKit/platform/OXCBORCoder.h"
#include "platform/coding/CBORItem.h"

namespace ox {

// A constant key together with its head, as it stands in a map. A whole word is written, which
// takes less time than pieces of the right size: what follows overwrites the rest.
template <std::size_t size>
struct FieldKey {
  // NOLINTNEXTLINE(modernize-avoid-c-arrays): a literal is one
  consteval FieldKey(const char (&text)[size]) {
    static_assert(size <= 24, "a longer text has a longer head");
    coded[0] = static_cast<char>(cbor::firstByte(cbor::Kind::textString, size - 1));
    std::string_view(text, size - 1).copy(coded.data() + 1, size - 1);
  }

  constexpr std::string_view text() const noexcept { return {coded.data() + 1, size - 1}; }

  unsigned char* write(unsigned char* to) const noexcept {
    std::memcpy(to, coded.data(), coded.size());
    return to + size;
  }
  bool isAt(cbor::Bytes bytes) const noexcept {
    return bytes.size() >= size && std::memcmp(bytes.data(), coded.data(), size) == 0;
  }

  std::array<char, std::bit_ceil(size)> coded{};
};

template <FieldKey key>
constexpr const auto& operator""_key() noexcept {
  return key;
}

// Writes fields by `put(key, object)`. Without keys, the null marker stands for no object.
template <typename Put>
class FieldWriter {
 public:
  FieldWriter(bool keyed, Put put) : keyed_(keyed), put_(std::move(put)) {}

  template <typename Object>
  void field(const auto& key, const std::optional<Object>& object) {
    if (object) {
      put_(key, *object);
    } else if (!keyed_) {
      put_(key, OXNull());
    }
  }
  void field(const auto& key, std::unsigned_integral auto number, auto /*getter*/) {
    put_(key, number);
  }

 private:
  const bool keyed_;
  Put put_;
};

// Reads fields from a coder of any kind, as objects.
class ObjectReader {
 public:
  explicit ObjectReader(OXCoder& coder) : coder_(coder), keyed_(coder.allowsKeyedCoding()) {}

  template <typename Object>
  void field(const auto& key, std::optional<Object>& object) {
    std::optional<OXValue> value =
        keyed_ ? coder_.decodeObjectForKey(key.text()) : coder_.decodeObject();
    if (!value || (!keyed_ && std::holds_alternative<OXNull>(*value))) {
      return;
    }
    if (Object* const taken = std::get_if<Object>(&*value)) {
      object = std::move(*taken);
    } else {
      fits_ = false;
    }
  }
  template <typename Number>
  void field(const auto& key, Number& number, auto getter) {
    std::optional<OXNumber> object;
    field(key, object);
    number = object ? static_cast<Number>(((*object).*getter)()) : number;
  }

  // Whether every object so far was of the kind that its field takes.
  bool fits() const { return fits_; }

 private:
  OXCoder& coder_;
  const bool keyed_;
  bool fits_ = true;
};

// Reads fields from a map's entries, or from a run of items.
//
// Keyed, `describe` is called repeatedly, each time from the next entry on: each field takes the
// entry if it has the field's key. Entries in the order of writing are all taken by the first call.
// An entry that no field took is tried once more with its key decoded, as other encoders may write
// a key in other bytes, and then skipped.
template <bool keyed>
class ItemReader {
 public:
  explicit ItemReader(cbor::Bytes bytes) noexcept : rest(bytes) {}

  [[gnu::always_inline]] void read(auto& fields) {
    for (;;) {
      index = 0;
      describe(fields, *this);
      if (!key_.empty()) {
        cbor::takeItem(rest);
      }
      if (!keyed || rest.empty()) {
        return;
      }
      key_ = cbor::takeItem(rest).bytes;
    }
  }

  template <typename Object>
  [[gnu::always_inline]] void field(const auto& key, std::optional<Object>& object) {
    take(key, [&](const cbor::Item& item) { return cbor::read(item.bytes, object); });
  }
  template <typename Number>
  [[gnu::always_inline]] void field(const auto& key, Number& number, auto getter) {
    take(key, [&](const cbor::Item& item) {
      // A fast path for most numbers, with the same result as the conversion below.
      if (item.head.kind == cbor::Kind::unsignedInteger) {
        number = static_cast<Number>(item.head.number);
        return true;
      }
      if (std::same_as<Number, bool> && cbor::isBoolean(item.head)) {
        number = item.head.number == cbor::trueValue;
        return true;
      }
      std::optional<OXNumber> object;
      cbor::read(item.bytes, object);
      number = object ? static_cast<Number>(((*object).*getter)()) : number;
      return object.has_value();
    });
  }

  // After `read`, the result.
  cbor::Bytes rest;
  unsigned index = 0;   // of the field that comes next
  bool fits = true;     // every value was of the kind that its field takes
  bool failed = false;  // one was missing, or was no object

 private:
  // Calls `set` with the value for the field, if there is one. Keyed, the first entry under the key
  // counts; sequentially, the null marker stands for no value.
  [[gnu::always_inline]] void take(const auto& key, auto set) {
    const std::uint32_t bit = std::uint32_t{1} << index;
    ++index;
    if constexpr (keyed) {
      if (key_.empty() ? !key.isAt(rest) : !cbor::isText(key_, key.text())) {
        return;
      }
      rest = rest.subspan(key_.empty() ? key.text().size() + 1 : 0);
      key_ = {};
    }
    const cbor::Item item = cbor::takeItem(rest);
    const bool isFirst = (std::exchange(taken_, taken_ | bit) & bit) == 0;
    if (isFirst && (keyed || !cbor::isNull(item.head)) && !set(item)) {
      fits = false;
      // A string is an object, and not copied to find that out.
      failed = failed || (!cbor::isString(item.head.kind) &&
                          std::holds_alternative<OXMisfit>(cbor::objectOf(item.bytes)));
    }
  }

  cbor::Bytes key_;          // of the entry whose value comes next, when it was read
  std::uint32_t taken_ = 0;  // a bit for each field that had its item
};

}  // namespace ox

// Writes and reads the library's records. A friend of the coders, for direct access to the bytes.
class OXCBORFields {
 public:
  // Writes the fields that `describe` states, of which the strings have `textSize` bytes, as one
  // record: to a coder of the library's own all of them or, without memory, none.
  static void write(OXCoder& coder, std::size_t textSize, const auto& fields) {
    if (coder.own_ == OXCoder::Own::encoder) {
      auto& encoder = static_cast<OXCBOREncoder&>(coder);
      return encoder.mode_ == OXCBORMode::keyed ? writeBytes<true>(encoder, textSize, fields)
                                                : writeBytes<false>(encoder, textSize, fields);
    }
    const bool keyed = coder.allowsKeyedCoding();
    ox::FieldWriter writer(keyed, [&]<typename Object>(const auto& key, const Object& object) {
      constexpr bool isNumber = std::unsigned_integral<Object>;
      const OXValueView view = std::conditional_t<isNumber, OXNumber, const Object&>(object);
      if (keyed) {
        coder.encodeObjectForKey(view, key.text());
      } else {
        coder.encodeObject(view);
      }
    });
    describe(fields, writer);
  }

  // Reads the fields that `describe` states. False when an object does not fit or, in sequential
  // mode, is missing.
  static bool read(OXCoder& coder, auto& fields) {
    if (coder.own_ == OXCoder::Own::decoder) {
      auto& decoder = static_cast<OXCBORDecoder&>(coder);
      return decoder.mode_ == OXCBORMode::keyed ? readBytes<true>(decoder, fields)
                                                : readBytes<false>(decoder, fields);
    }
    ox::ObjectReader reader(coder);
    describe(fields, reader);
    return reader.fits();
  }

 private:
  template <bool keyed>
  static void writeBytes(OXCBOREncoder& encoder, std::size_t textSize, const auto& fields) {
    constexpr std::size_t mostFields = 16;
    constexpr std::size_t fieldSize = 24 + 1 + ox::cbor::longestHead;  // a key, a tag, a number
    static_assert(fieldSize >= std::bit_ceil(24U), "the longest key is written as a whole word");
    unsigned char* next = encoder.begin(true, textSize + mostFields * fieldSize);
    std::size_t count = 0;
    ox::FieldWriter writer(keyed, [&](const auto& key, const auto& object) {
      next = ox::cbor::write(keyed ? key.write(next) : next, object);
      ++count;
    });
    describe(fields, writer);
    encoder.end(next, count);
  }

  // Reads all fields in one pass. Goes on after an object that does not fit, so that the decoder is
  // then at the next record of a run.
  template <bool keyed>
  static bool readBytes(OXCBORDecoder& decoder, auto& fields) {
    if (keyed ? decoder.hasFailed() : decoder.failed_) {
      return false;
    }
    ox::ItemReader<keyed> reader(keyed ? decoder.bytes_ : decoder.next_);
    reader.read(fields);
    if constexpr (!keyed) {
      decoder.next_ = reader.rest;
      decoder.count_ = decoder.count_ ? *decoder.count_ - reader.index : decoder.count_;
    }
    decoder.failed_ = reader.failed || decoder.hasFailed();
    return !decoder.failed_ && reader.fits;
  }
};

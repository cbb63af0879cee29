// A record's fields in CBOR, without an object and a call for each of them.
//
// A record states its fields once, as a function that takes any coder of fields and calls it for
// each of them, in the order of writing (see `ArchivedFileCoding.cpp`):
//
//   coder.string(key, field)  coder.date(key, field)  coder.number<&OXNumber::boolValue>(key,
//   field)
//
// These are such coders: `Bound`, `Writer` and `Reader`.

#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "OrvexKit/platform/OXCBORCoder.h"
#include "platform/coding/CBORItem.h"

namespace ox {

// A constant key, of less than 24 characters, together with its head: as it stands in a map.
template <std::size_t size>
class FieldKey {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): a literal is a key
  consteval FieldKey(const char (&text)[size]) {
    static_assert(size <= 24);
    coded_[0] = static_cast<char>(0x60 + size - 1);
    for (std::size_t i = 1; i < size; ++i) {
      coded_[i] = text[i - 1];
    }
  }

  constexpr std::string_view text() const noexcept { return {coded_ + 1, size - 1}; }

  // Both in two pieces that do not overlap: reading what two stores wrote waits for them.
  unsigned char* write(unsigned char* to) const noexcept {
    std::memcpy(to, coded_, piece);
    std::memcpy(to + piece, coded_ + piece, size - piece);
    return to + size;
  }
  bool isAt(cbor::Bytes bytes) const noexcept {
    return bytes.size() >= size && std::memcmp(bytes.data(), coded_, piece) == 0 &&
           std::memcmp(bytes.data() + piece, coded_ + piece, size - piece) == 0;
  }

 private:
  static constexpr std::size_t piece = std::bit_floor(size);
  char coded_[size]{};
};

}  // namespace ox

// What the coders allow the library's own records.
class OXCBORFields {
 public:
  template <bool keyed>
  class Writer;
  template <bool keyed>
  class Reader;

  // The coder as one of the library's own, or null.
  static OXCBOREncoder* encoder(OXCoder& coder) noexcept {
    return coder.own_ == OXCoder::Own::encoder ? static_cast<OXCBOREncoder*>(&coder) : nullptr;
  }
  static OXCBORDecoder* decoder(OXCoder& coder) noexcept {
    return coder.own_ == OXCoder::Own::decoder ? static_cast<OXCBORDecoder*>(&coder) : nullptr;
  }

  // Writes the fields that `describe` states, as one record: all of them or, without memory, none.
  template <typename Describe>
  static void write(OXCBOREncoder& encoder, Describe describe) {
    Bound bound;
    describe(bound);
    encoder.startRecord();
    unsigned char* const room = encoder.roomFor(bound.size());
    if (encoder.mode_ == OXCBORMode::keyed) {
      writeTo<true>(encoder, room, describe);
    } else {
      writeTo<false>(encoder, room, describe);
    }
  }

  // Reads the fields that `describe` states, each where it occurs first, in one pass over the
  // record. False when an object does not fit, or is missing from a sequential record; all objects
  // of a sequential record are passed over then, too.
  template <typename Describe>
  static bool read(OXCBORDecoder& decoder, Describe describe) {
    if (decoder.failed_) {
      return false;
    }
    return decoder.mode_ == OXCBORMode::keyed ? readFrom<true>(decoder, describe)
                                              : readFrom<false>(decoder, describe);
  }

 private:
  // The most bytes that the fields can take.
  class Bound {
   public:
    template <std::size_t size>
    void string(const ox::FieldKey<size>& /*key*/, const std::optional<std::string_view>& field) {
      add(size, field ? field->size() : 0);
    }
    template <std::size_t size>
    void date(const ox::FieldKey<size>& /*key*/, const std::optional<OXDate>& /*field*/) {
      add(size, 1);
    }
    template <auto read, std::size_t size, typename Field>
    void number(const ox::FieldKey<size>& /*key*/, const Field& /*field*/) {
      add(size, 0);
    }
    std::size_t size() const noexcept { return size_; }

   private:
    void add(std::size_t key, std::size_t content) noexcept {
      size_ += key + ox::cbor::longestHead + content;
    }
    std::size_t size_ = 0;
  };

  template <bool keyed, typename Describe>
  static void writeTo(OXCBOREncoder& encoder, unsigned char* room, Describe describe) {
    Writer<keyed> writer(room);
    describe(writer);
    encoder.end_ = static_cast<std::size_t>(writer.next() - encoder.buffer_.data());
    encoder.count_ += writer.count();
  }

  template <bool keyed, typename Describe>
  static bool readFrom(OXCBORDecoder& decoder, Describe describe) {
    Reader<keyed> reader(keyed ? decoder.bytes_ : decoder.bytes_.subspan(decoder.position_));
    reader.read(describe);
    if constexpr (!keyed) {
      decoder.position_ = decoder.bytes_.size() - reader.left();
      decoder.taken_ += reader.taken();
      decoder.check();
    }
    decoder.failed_ = decoder.failed_ || reader.hasFailed();
    return !decoder.failed_ && reader.fits();
  }
};

// Writes fields to where there is room for them.
template <bool keyed>
class OXCBORFields::Writer {
 public:
  explicit Writer(unsigned char* next) noexcept : next_(next) {}
  unsigned char* next() const noexcept { return next_; }
  std::size_t count() const noexcept { return count_; }

  template <std::size_t size>
  void string(const ox::FieldKey<size>& key, const std::optional<std::string_view>& field) {
    if (field) {
      begin(key);
      next_ = ox::cbor::writeString(next_, *field);
    } else {
      none();
    }
  }

  template <std::size_t size>
  void date(const ox::FieldKey<size>& key, const std::optional<OXDate>& field) {
    if (field) {
      begin(key);
      next_ = ox::cbor::writeDate(next_, *field);
    } else {
      none();
    }
  }

  template <auto read, std::size_t size, typename Field>
  void number(const ox::FieldKey<size>& key, Field field) {
    begin(key);
    if constexpr (std::same_as<Field, bool>) {
      next_ = ox::cbor::writeSimple(next_, field ? ox::cbor::trueValue : ox::cbor::falseValue);
    } else {
      next_ = ox::cbor::writeHead(next_, ox::cbor::Kind::unsignedInteger, field);
    }
  }

 private:
  template <std::size_t size>
  void begin(const ox::FieldKey<size>& key) noexcept {
    if constexpr (keyed) {
      next_ = key.write(next_);
    }
    ++count_;
  }

  void none() noexcept {
    if constexpr (!keyed) {
      next_ = ox::cbor::writeSimple(next_, ox::cbor::nullValue);
      ++count_;
    }
  }

  unsigned char* next_;
  std::size_t count_ = 0;
};

// Reads fields from well-formed entries, or items in sequential mode.
//
// Keyed, the description is gone through again and again, each time from the entry that comes next:
// each field takes the entry if it has the field's key. Entries in the order of writing are all
// taken the first time. An entry that nobody took in the bytes that a key mostly has is offered
// once more by its name, and then passed over.
template <bool keyed>
class OXCBORFields::Reader {
 public:
  explicit Reader(ox::cbor::Bytes rest) noexcept : rest_(rest) {}
  // Whether every value was of the kind that its field takes.
  bool fits() const noexcept { return fits_; }
  // Whether one was missing, or was no object.
  bool hasFailed() const noexcept { return failed_; }
  std::size_t left() const noexcept { return rest_.size(); }
  // Items, in sequential mode.
  std::uint32_t taken() const noexcept { return taken_; }

  template <typename Describe>
  void read(Describe describe) {
    if constexpr (!keyed) {
      return describe(*this);
    }
    ox::cbor::Item item{};
    while (!rest_.empty()) {
      const std::size_t before = rest_.size();
      field_ = 0;
      describe(*this);
      if (name_ != nullptr) {
        name_ = nullptr;
        pass(item);
      } else if (rest_.size() == before) {
        pass(item);
        name_ = &item;
      }
    }
  }

  template <std::size_t size>
  [[gnu::always_inline]] void string(const ox::FieldKey<size>& key,
                                     std::optional<std::string>& field) {
    ox::cbor::Item item{};
    if (!take(key, item)) {
      return;
    }
    if (item.isString()) {
      field = ox::cbor::stringOf(item);
    } else {
      fits_ = false;
    }
  }

  template <std::size_t size>
  [[gnu::always_inline]] void date(const ox::FieldKey<size>& key, std::optional<OXDate>& field) {
    ox::cbor::Item item{};
    if (!take(key, item)) {
      return;
    }
    if (item.kind == ox::cbor::ItemKind::date) {
      field = ox::cbor::dateOf(item);
    } else {
      fits_ = false;
    }
  }

  template <auto read, std::size_t size, typename Field>
  [[gnu::always_inline]] void number(const ox::FieldKey<size>& key, Field& field) {
    ox::cbor::Item item{};
    if (!take(key, item)) {
      return;
    }
    const bool isPlain = item.kind == ox::cbor::ItemKind::unsignedInteger;
    if (isPlain || item.kind == ox::cbor::ItemKind::boolean) {
      // What the conversion below comes to, without the call.
      field = static_cast<Field>(item.number);
    } else if (item.isNumber()) {
      field = static_cast<Field>((ox::cbor::numberOf(item).*read)());
    } else {
      fits_ = false;
    }
  }

 private:
  // Reads the next item. When there is none, because a run is too short or somebody changes the
  // bytes meanwhile, it is one that does not fit.
  [[gnu::always_inline]] void pass(ox::cbor::Item& item) noexcept {
    const std::size_t size = ox::cbor::readItem(rest_, item);
    if (size == 0) {
      item.kind = ox::cbor::ItemKind::other;
      fits_ = false;
    }
    rest_ = size == 0 ? rest_.last(0) : rest_.subspan(size);
  }

  // Whether there is a value for the field, which is in `item` then. Keyed, the first entry under
  // the key counts; sequentially, the null marker stands for no value.
  template <std::size_t size>
  [[gnu::always_inline]] bool take(const ox::FieldKey<size>& key, ox::cbor::Item& item) {
    if constexpr (keyed) {
      const std::uint32_t bit = std::uint32_t{1} << field_;
      ++field_;
      if (!isAt(key)) {
        return false;
      }
      pass(item);
      if ((taken_ & bit) != 0) {
        return false;
      }
      taken_ |= bit;
    } else {
      pass(item);
      ++taken_;
    }
    failed_ = failed_ || item.kind == ox::cbor::ItemKind::other;
    return keyed || item.kind != ox::cbor::ItemKind::null;
  }

  // Whether the value under `key` comes next; what stands before it is passed over.
  template <std::size_t size>
  [[gnu::always_inline]] bool isAt(const ox::FieldKey<size>& key) {
    if (name_ != nullptr) {
      if (!ox::cbor::isString(*name_, key.text())) {
        return false;
      }
      name_ = nullptr;
      return true;
    }
    if (!key.isAt(rest_)) {
      return false;
    }
    rest_ = rest_.subspan(size);
    return true;
  }

  ox::cbor::Bytes rest_;
  const ox::cbor::Item* name_ = nullptr;  // of the entry whose value comes next, when it was read
  std::uint32_t taken_ = 0;  // a bit for each field that had its entry; items, in sequential mode
  unsigned field_ = 0;
  bool fits_ = true;
  bool failed_ = false;
};

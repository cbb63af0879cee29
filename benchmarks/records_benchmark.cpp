// SPDX-License-Identifier: MIT

// Records sent between processes, and in memory.

#include <benchmark/benchmark.h>
#include <glib.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <msgpack.hpp>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Comparison.h"
#include "OrvexKit/OXArchivedFile.h"
#include "OrvexKit/platform/OXCBORCoder.h"
#include "OrvexKit/platform/OXCBORSequence.h"

namespace {

using namespace ox;

// The records ---------------------------------------------------------------------------------

using Record = std::shared_ptr<OXArchivedFile>;

std::string pathOfEntry(std::uint64_t number) {
  const std::string folder = "project-2.4.1/src/module_" + std::to_string(number / 400) +
                             "/component_" + std::to_string(number / 20 % 20);
  return number % 20 == 0 ? folder : folder + "/source_file_" + std::to_string(number) + ".cpp";
}

Record makeRecord(std::uint64_t number) {
  constexpr double firstTime = 1'600'000'000;
  // Spreads the bits, so that sizes and checksums have as many bytes as real ones.
  const std::uint64_t spread = (number + 1) * 0x9E3779B97F4A7C15U;
  const bool isFolder = number % 20 == 0;
  auto record = std::make_shared<OXArchivedFile>();
  // From a view, so that the record's copy has no spare capacity, like a decoded one.
  record->setPath(std::string_view(pathOfEntry(number)));
  record->setModificationTime(
      OXDate(OXDate::duration(firstTime + static_cast<double>(spread >> 38) / 4)));
  record->setActualSize(isFolder ? 0 : spread >> 40);
  record->setCompressedSize(isFolder ? 0 : spread >> 42);
  record->setChecksum(isFolder ? 0 : static_cast<std::uint32_t>(spread));
  record->setFileId(static_cast<OXUnsignedWord>(number));
  record->setIsFolder(isFolder);
  record->setIsEncrypted(number % 7 == 0);
  return record;
}

std::vector<Record> makeListing(std::uint64_t count) {
  std::vector<Record> listing;
  listing.reserve(count);
  for (std::uint64_t number = 0; number < count; ++number) {
    listing.push_back(makeRecord(number));
  }
  return listing;
}

const std::vector<Record>& records() {
  static const std::vector<Record> made = makeListing(1'000);
  return made;
}

bool areSame(const OXArchivedFile& one, const OXArchivedFile& other) {
  return one.path() == other.path() && one.modificationTime() == other.modificationTime() &&
         one.actualSize() == other.actualSize() && one.compressedSize() == other.compressedSize() &&
         one.checksum() == other.checksum() && one.fileId() == other.fileId() &&
         one.isFolder() == other.isFolder() && one.isEncrypted() == other.isEncrypted();
}

// The coders ----------------------------------------------------------------------------------

// Each encodes and decodes a record, and reuses between records what it can.

using Encoded = std::span<const std::byte>;

template <OXCBORMode mode>
class Ours {
 public:
  using Record = std::shared_ptr<OXArchivedFile>;

  Encoded encode(const OXArchivedFile& record) {
    encoder_.reset();
    record.encodeWithCoder(encoder_);
    return encoder_.item();
  }

  static Record decode(Encoded bytes) { return OXCBORDecodeRecord<OXArchivedFile>(bytes, mode); }

 private:
  OXCBOREncoder encoder_{mode};
};

class NlohmannJson {
 public:
  using Record = std::shared_ptr<OXArchivedFile>;

  Encoded encode(const OXArchivedFile& record) {
    bytes_.clear();
    Json::to_cbor(objectOf(record), bytes_);
    return std::as_bytes(std::span(bytes_));
  }

  static Record decode(Encoded bytes) {
    const auto* const first = reinterpret_cast<const std::uint8_t*>(bytes.data());
    return recordOf(Json::from_cbor(first, first + bytes.size()));
  }

 private:
  using Json = nlohmann::json;

  static Json objectOf(const OXArchivedFile& record) {
    Json object(Json::value_t::object);
    if (record.path()) {
      object.emplace("path", *record.path());
    }
    if (const std::optional<OXDate> time = record.modificationTime()) {
      object.emplace("mtime", time->time_since_epoch().count());
    }
    object.emplace("actualSize", record.actualSize());
    object.emplace("compSize", record.compressedSize());
    object.emplace("checksum", record.checksum());
    object.emplace("fileId", record.fileId());
    object.emplace("isFolder", record.isFolder());
    object.emplace("isEncrypted", record.isEncrypted());
    return object;
  }

  template <typename Field>
  static Field field(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found == object.end() ? Field() : found->get<Field>();
  }

  static Record recordOf(Json&& object) {
    auto record = std::make_shared<OXArchivedFile>();
    if (const auto path = object.find("path"); path != object.end()) {
      record->setPath(std::move(path->get_ref<std::string&>()));
    }
    if (const auto time = object.find("mtime"); time != object.end()) {
      record->setModificationTime(OXDate(OXDate::duration(time->get<double>())));
    }
    record->setActualSize(field<std::uint64_t>(object, "actualSize"));
    record->setCompressedSize(field<std::uint64_t>(object, "compSize"));
    record->setChecksum(field<std::uint32_t>(object, "checksum"));
    record->setFileId(field<OXUnsignedWord>(object, "fileId"));
    record->setIsFolder(field<bool>(object, "isFolder"));
    record->setIsEncrypted(field<bool>(object, "isEncrypted"));
    return record;
  }

  std::vector<std::uint8_t> bytes_;
};

class GVariantDictionary {
 public:
  using Record = std::shared_ptr<OXArchivedFile>;

  Encoded encode(const OXArchivedFile& record) {
    written_.reset(g_variant_ref_sink(dictionaryOf(record)));
    return {static_cast<const std::byte*>(g_variant_get_data(written_.get())),
            g_variant_get_size(written_.get())};
  }

  static Record decode(Encoded bytes) {
    const Variant read(
        g_variant_ref_sink(g_variant_new_from_data(G_VARIANT_TYPE_VARDICT, bytes.data(),
                                                   bytes.size(), FALSE, nullptr, nullptr)),
        g_variant_unref);
    return recordOf(read.get());
  }

 private:
  using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

  // Avoids a format string, which would have to be parsed.
  static void add(GVariantBuilder& builder, const char* key, GVariant* value) {
    g_variant_builder_add_value(&builder, g_variant_new_dict_entry(g_variant_new_string(key),
                                                                   g_variant_new_variant(value)));
  }

  static GVariant* dictionaryOf(const OXArchivedFile& record) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    if (record.path()) {
      add(builder, "path", g_variant_new_string(record.path()->c_str()));
    }
    if (const std::optional<OXDate> time = record.modificationTime()) {
      add(builder, "mtime", g_variant_new_double(time->time_since_epoch().count()));
    }
    add(builder, "actualSize", g_variant_new_uint64(record.actualSize()));
    add(builder, "compSize", g_variant_new_uint64(record.compressedSize()));
    add(builder, "checksum", g_variant_new_uint32(record.checksum()));
    add(builder, "fileId", g_variant_new_uint64(record.fileId()));
    add(builder, "isFolder", g_variant_new_boolean(record.isFolder() ? TRUE : FALSE));
    add(builder, "isEncrypted", g_variant_new_boolean(record.isEncrypted() ? TRUE : FALSE));
    return g_variant_builder_end(&builder);
  }

  // Calls `take` with the key's value, if there is one of the type.
  template <typename Take>
  static void read(GVariantDict* dictionary, const char* key, const GVariantType* type, Take take) {
    const Variant value(g_variant_dict_lookup_value(dictionary, key, type), g_variant_unref);
    if (value != nullptr) {
      take(value.get());
    }
  }

  // Uses a table of all values, which is faster than searching the bytes for each.
  static Record recordOf(GVariant* bytes) {
    const std::unique_ptr<GVariantDict, decltype(&g_variant_dict_unref)> table(
        g_variant_dict_new(bytes), g_variant_dict_unref);
    GVariantDict* const dictionary = table.get();
    auto record = std::make_shared<OXArchivedFile>();
    read(dictionary, "path", G_VARIANT_TYPE_STRING, [&](GVariant* value) {
      gsize size = 0;
      const char* const text = g_variant_get_string(value, &size);
      record->setPath(std::string_view(text, size));
    });
    read(dictionary, "mtime", G_VARIANT_TYPE_DOUBLE, [&](GVariant* value) {
      record->setModificationTime(OXDate(OXDate::duration(g_variant_get_double(value))));
    });
    read(dictionary, "actualSize", G_VARIANT_TYPE_UINT64,
         [&](GVariant* value) { record->setActualSize(g_variant_get_uint64(value)); });
    read(dictionary, "compSize", G_VARIANT_TYPE_UINT64,
         [&](GVariant* value) { record->setCompressedSize(g_variant_get_uint64(value)); });
    read(dictionary, "checksum", G_VARIANT_TYPE_UINT32,
         [&](GVariant* value) { record->setChecksum(g_variant_get_uint32(value)); });
    read(dictionary, "fileId", G_VARIANT_TYPE_UINT64, [&](GVariant* value) {
      record->setFileId(static_cast<OXUnsignedWord>(g_variant_get_uint64(value)));
    });
    read(dictionary, "isFolder", G_VARIANT_TYPE_BOOLEAN,
         [&](GVariant* value) { record->setIsFolder(g_variant_get_boolean(value) != FALSE); });
    read(dictionary, "isEncrypted", G_VARIANT_TYPE_BOOLEAN,
         [&](GVariant* value) { record->setIsEncrypted(g_variant_get_boolean(value) != FALSE); });
    return record;
  }

  Variant written_{nullptr, g_variant_unref};
};

// The fields in a plain structure, as a user of msgpack has them.
struct PlainFields {
  std::optional<std::string> path;
  std::optional<double> mtime;
  std::uint64_t actualSize = 0;
  std::uint64_t compSize = 0;
  std::uint32_t checksum = 0;
  std::uint64_t fileId = 0;
  bool isFolder = false;
  bool isEncrypted = false;

  friend bool operator==(const PlainFields&, const PlainFields&) = default;
};

struct FieldsInMap : PlainFields {
  MSGPACK_DEFINE_MAP(path, mtime, actualSize, compSize, checksum, fileId, isFolder, isEncrypted)
};

struct FieldsInArray : PlainFields {
  MSGPACK_DEFINE_ARRAY(path, mtime, actualSize, compSize, checksum, fileId, isFolder, isEncrypted)
};

bool areSame(const PlainFields& one, const PlainFields& other) {
  return one == other;
}

template <typename Fields>
class Msgpack {
 public:
  using Record = std::shared_ptr<Fields>;

  static Record recordOf(const OXArchivedFile& file) {
    auto record = std::make_shared<Fields>();
    record->path = file.path();
    if (const std::optional<OXDate> time = file.modificationTime()) {
      record->mtime = time->time_since_epoch().count();
    }
    record->actualSize = file.actualSize();
    record->compSize = file.compressedSize();
    record->checksum = file.checksum();
    record->fileId = file.fileId();
    record->isFolder = file.isFolder();
    record->isEncrypted = file.isEncrypted();
    return record;
  }

  // Flattened, since otherwise the compiler does not inline the many small writes.
  [[gnu::flatten]] Encoded encode(const Fields& record) {
    buffer_.clear();
    msgpack::pack(buffer_, record);
    return {reinterpret_cast<const std::byte*>(buffer_.data()), buffer_.size()};
  }

  static Record decode(Encoded bytes) {
    auto record = std::make_shared<Fields>();
    msgpack::unpack(reinterpret_cast<const char*>(bytes.data()), bytes.size())->convert(*record);
    return record;
  }

 private:
  msgpack::sbuffer buffer_;
};

// The three jobs ------------------------------------------------------------------------------

// The records in the type that a coder uses.
template <typename Coder>
const auto& recordsFor() {
  if constexpr (std::same_as<typename Coder::Record, Record>) {
    return records();
  } else {
    static const std::vector<typename Coder::Record> made = [] {
      std::vector<typename Coder::Record> copies;
      for (const Record& record : records()) {
        copies.push_back(Coder::recordOf(*record));
      }
      return copies;
    }();
    return made;
  }
}

// All encoded records, concatenated.
struct Listing {
  std::vector<std::byte> bytes;
  std::vector<std::size_t> ends;
};

template <typename Coder>
const Listing& listing() {
  static const Listing made = [] {
    Coder coder;
    Listing listing;
    for (const auto& record : recordsFor<Coder>()) {
      const Encoded bytes = coder.encode(*record);
      listing.bytes.insert(listing.bytes.end(), bytes.begin(), bytes.end());
      listing.ends.push_back(listing.bytes.size());
    }
    return listing;
  }();
  return made;
}

// Calls `take` with the bytes of each record.
template <typename Coder, typename Take>
void forEachEncoded(Take take) {
  const Listing& encoded = listing<Coder>();
  std::size_t start = 0;
  for (const std::size_t end : encoded.ends) {
    take(Encoded(encoded.bytes).subspan(start, end - start));
    start = end;
  }
}

template <typename Coder>
bool givesSameRecords() {
  std::size_t index = 0;
  bool same = true;
  forEachEncoded<Coder>([&](Encoded bytes) {
    const auto made = Coder::decode(bytes);
    same = same && made != nullptr && areSame(*made, *recordsFor<Coder>()[index]);
    ++index;
  });
  return same;
}

// Runs `job`, which takes each of the records once.
template <typename Coder, int wantedPercent, typename Job>
void measure(benchmark::State& state, Job job) {
  static const bool isRight = givesSameRecords<Coder>();
  if (!isRight) {
    state.SkipWithError("another record");
    return;
  }
  for (auto iteration : state) {
    static_cast<void>(iteration);
    job();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(records().size()));
  if constexpr (wantedPercent != 0) {
    bench::wantTimesAsFast(state, wantedPercent / 100.0);
  }
}

template <typename Coder, int wantedPercent = 0>
void encoding(benchmark::State& state) {
  Coder coder;
  measure<Coder, wantedPercent>(state, [&] {
    for (const auto& record : recordsFor<Coder>()) {
      benchmark::DoNotOptimize(coder.encode(*record).data());
    }
  });
}

template <typename Coder, int wantedPercent = 0>
void decoding(benchmark::State& state) {
  measure<Coder, wantedPercent>(state, [] {
    forEachEncoded<Coder>(
        [](Encoded bytes) { benchmark::DoNotOptimize(Coder::decode(bytes).get()); });
  });
}

template <typename Coder, int wantedPercent = 0>
void roundTrip(benchmark::State& state) {
  Coder coder;
  measure<Coder, wantedPercent>(state, [&] {
    for (const auto& record : recordsFor<Coder>()) {
      benchmark::DoNotOptimize(Coder::decode(coder.encode(*record)).get());
    }
  });
}

using Keyed = Ours<OXCBORMode::keyed>;
using Sequential = Ours<OXCBORMode::sequential>;

// Reads the records from a stream in memory: the work of a reader once the bytes have arrived.
void readingSequence(benchmark::State& state) {
  const int fd = ::memfd_create("records", MFD_CLOEXEC);
  OXCBORSequenceWriter writer(fd);
  forEachEncoded<Keyed>([&](Encoded bytes) { writer.write(bytes); });
  if (!writer.flush()) {
    state.SkipWithError("no stream");
    return;
  }
  measure<Keyed, 0>(state, [&] {
    ::lseek(fd, 0, SEEK_SET);
    OXCBORSequenceReader reader(fd);
    std::size_t count = 0;
    while (const auto item = reader.next()) {
      const Record record = OXCBORDecodeRecord<OXArchivedFile>(*item, OXCBORMode::keyed);
      benchmark::DoNotOptimize(record.get());
      ++count;
    }
    if (count != records().size()) {
      state.SkipWithError("fewer records");
    }
  });
  ::close(fd);
}

// A hostile map -------------------------------------------------------------------------------

// Large, and without any of a record's keys.
Encoded strangeMap() {
  static OXCBOREncoder encoder(OXCBORMode::keyed);
  static const Encoded made = [] {
    for (int number = 0; number < 262'144; ++number) {
      encoder.encodeObjectForKey(OXNull(), "key" + std::to_string(number));
    }
    return encoder.item();
  }();
  return made;
}

void readingStrangeMap(benchmark::State& state) {
  for (auto iteration : state) {
    static_cast<void>(iteration);
    benchmark::DoNotOptimize(
        OXCBORDecodeRecord<OXArchivedFile>(strangeMap(), OXCBORMode::keyed).get());
  }
}

void lookingUpEachField(benchmark::State& state) {
  for (auto iteration : state) {
    static_cast<void>(iteration);
    OXCBORDecoder decoder(strangeMap(), OXCBORMode::keyed);
    for (const char* key : {"path", "mtime", "actualSize", "compSize", "checksum", "fileId",
                            "isFolder", "isEncrypted"}) {
      benchmark::DoNotOptimize(decoder.decodeObjectForKey(key).has_value());
    }
  }
  bench::wantTimesAsFast(state, 1.3);
}

// A listing -----------------------------------------------------------------------------------

// The allocated memory, including the allocator's overhead.
std::size_t bytesInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

void listingInMemory(benchmark::State& state) {
  constexpr std::uint64_t count = 1'000'000;
  constexpr auto entries = static_cast<double>(count);
  std::size_t bytes = 0;
  std::size_t pathBytes = 0;
  for (auto iteration : state) {
    static_cast<void>(iteration);
    const std::size_t before = bytesInUse();
    const std::vector<Record> made = makeListing(count);
    bytes = bytesInUse() - before;
    pathBytes = 0;
    for (const Record& record : made) {
      pathBytes += record->path()->size();
    }
  }
  bench::stateFigure(state, "bytes of memory per entry", static_cast<double>(bytes) / entries);
  bench::stateFigure(state, "of these in the path's text",
                     static_cast<double>(pathBytes) / entries);
}

BENCHMARK(encoding<Keyed>)->Name("1,000 keyed records to CBOR/ours");
BENCHMARK(encoding<Msgpack<FieldsInMap>, 100>)->Name("1,000 keyed records to CBOR/msgpack_map");

BENCHMARK(decoding<Keyed>)->Name("1,000 keyed records from CBOR/ours");
BENCHMARK(decoding<Msgpack<FieldsInMap>, 600>)->Name("1,000 keyed records from CBOR/msgpack_map");

BENCHMARK(roundTrip<Keyed>)->Name("1,000 keyed records to CBOR and back/ours");
BENCHMARK(roundTrip<NlohmannJson, 1400>)
    ->Name("1,000 keyed records to CBOR and back/nlohmann_json");
BENCHMARK(roundTrip<GVariantDictionary, 2500>)
    ->Name("1,000 keyed records to CBOR and back/gvariant");

BENCHMARK(roundTrip<Sequential>)->Name("1,000 sequential records to CBOR and back/ours");
BENCHMARK(roundTrip<Keyed, 140>)->Name("1,000 sequential records to CBOR and back/our_keyed");
BENCHMARK(roundTrip<Msgpack<FieldsInArray>>)
    ->Name("1,000 sequential records to CBOR and back/msgpack_array");

// 1.3 times the time of decoding alone.
BENCHMARK(readingSequence)->Name("1,000 records out of a stream/ours");
BENCHMARK(decoding<Keyed, 77>)->Name("1,000 records out of a stream/decoding_alone");

// All fields are looked for in one pass, and not in one for each.
BENCHMARK(readingStrangeMap)->Name("a record out of 262,144 unknown keys/ours");
BENCHMARK(lookingUpEachField)->Name("a record out of 262,144 unknown keys/our_look_ups");

BENCHMARK(listingInMemory)
    ->Name("listing of 1,000,000 entries/ours")
    ->Iterations(1)
    ->Repetitions(3);

}  // namespace

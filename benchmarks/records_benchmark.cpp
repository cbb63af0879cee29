// Records as they go from one process to another, and as they lie in memory.

#include <benchmark/benchmark.h>
#include <glib.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Comparison.h"
#include "OrvexKit/OXArchivedFile.h"
#include "OrvexKit/platform/OXCBORCoder.h"

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
  // Spreads the bits, so that sizes and checksums take as many bytes as real ones.
  const std::uint64_t spread = (number + 1) * 0x9E3779B97F4A7C15U;
  const bool isFolder = number % 20 == 0;
  auto record = std::make_shared<OXArchivedFile>();
  // From a view, so that the record has a copy without room to spare, as one that was decoded has.
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
  static const std::vector<Record> made = makeListing(200'000);
  return made;
}

bool areSame(const OXArchivedFile& one, const OXArchivedFile& other) {
  return one.path() == other.path() && one.modificationTime() == other.modificationTime() &&
         one.actualSize() == other.actualSize() && one.compressedSize() == other.compressedSize() &&
         one.checksum() == other.checksum() && one.fileId() == other.fileId() &&
         one.isFolder() == other.isFolder() && one.isEncrypted() == other.isEncrypted();
}

// The coders ----------------------------------------------------------------------------------

// Each takes a record to bytes and makes another record of them. What a coder can keep from one
// record to the next it keeps.

template <OXCBORMode mode>
class Ours {
 public:
  Record roundTrip(const OXArchivedFile& record) {
    encoder_.reset();
    record.encodeWithCoder(encoder_);
    return OXCBORDecodeRecord<OXArchivedFile>(encoder_.item(), mode);
  }

 private:
  OXCBOREncoder encoder_{mode};
};

class NlohmannJson {
 public:
  Record roundTrip(const OXArchivedFile& record) {
    bytes_.clear();
    Json::to_cbor(objectOf(record), bytes_);
    return recordOf(Json::from_cbor(bytes_));
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
  Record roundTrip(const OXArchivedFile& record) {
    const Variant written(g_variant_ref_sink(dictionaryOf(record)), g_variant_unref);
    const Bytes bytes(g_variant_get_data_as_bytes(written.get()), g_bytes_unref);
    const Variant read(
        g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE_VARDICT, bytes.get(), FALSE)),
        g_variant_unref);
    return recordOf(read.get());
  }

 private:
  using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;
  using Bytes = std::unique_ptr<GBytes, decltype(&g_bytes_unref)>;

  // Without a format string, which would have to be parsed.
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

  // Calls `take` with the value under the key, if there is one of the type.
  template <typename Take>
  static void read(GVariantDict* dictionary, const char* key, const GVariantType* type, Take take) {
    const Variant value(g_variant_dict_lookup_value(dictionary, key, type), g_variant_unref);
    if (value != nullptr) {
      take(value.get());
    }
  }

  // Through a table of all the values, which is faster than looking each of them up in the bytes.
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
};

template <typename Coder>
bool givesSameRecords() {
  Coder coder;
  return std::ranges::all_of(records(), [&](const Record& record) {
    const Record made = coder.roundTrip(*record);
    return made != nullptr && areSame(*made, *record);
  });
}

template <typename Coder>
void coding(benchmark::State& state) {
  static const bool isRight = givesSameRecords<Coder>();
  if (!isRight) {
    state.SkipWithError("another record");
    return;
  }
  Coder coder;
  for (auto iteration : state) {
    static_cast<void>(iteration);
    for (const Record& record : records()) {
      benchmark::DoNotOptimize(coder.roundTrip(*record));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(records().size()));
}

template <typename Coder, int wantedPercent>
void codingByPeer(benchmark::State& state) {
  coding<Coder>(state);
  bench::wantTimesAsFast(state, wantedPercent / 100.0);
}

// A listing -----------------------------------------------------------------------------------

// What the allocator has given away, its own share included.
std::size_t bytesInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

void listing(benchmark::State& state) {
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

BENCHMARK(coding<Ours<OXCBORMode::keyed>>)->Name("200,000 keyed records to CBOR and back/ours");
BENCHMARK(codingByPeer<NlohmannJson, 800>)
    ->Name("200,000 keyed records to CBOR and back/nlohmann_json");
BENCHMARK(codingByPeer<GVariantDictionary, 2500>)
    ->Name("200,000 keyed records to CBOR and back/gvariant")
    ->Repetitions(5);  // these take seconds each

BENCHMARK(coding<Ours<OXCBORMode::sequential>>)
    ->Name("200,000 sequential records to CBOR and back/ours");
BENCHMARK(codingByPeer<Ours<OXCBORMode::keyed>, 150>)
    ->Name("200,000 sequential records to CBOR and back/our_keyed");

BENCHMARK(listing)->Name("listing of 1,000,000 entries/ours")->Iterations(1)->Repetitions(3);

}  // namespace

// SPDX-License-Identifier: MIT

#include <OrvexKit/OXArchivedFile.h>
#include <OrvexKit/platform/OXCBORCoder.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>

#include "model/Records.h"
#include "support/AllocationCount.h"
#include "support/Bytes.h"

namespace {

using ox::test::Bytes;
using ox::test::encoded;
using ox::test::encodedItem;
using ox::test::Fields;
using ox::test::fromHex;
using ox::test::makeRecord;
using ox::test::recordText;
using ox::test::toHex;

constexpr OXCBORMode bothModes[] = {OXCBORMode::keyed, OXCBORMode::sequential};

std::string decode(std::span<const std::byte> bytes, OXCBORMode mode) {
  return recordText(OXCBORDecodeRecord<OXArchivedFile>(bytes, mode));
}

TEST(ArchivedFileAsCBOR, IsPinned) {
  const auto record = makeRecord({.path = "docs/",
                                  .modificationTime = 1363896240.5,
                                  .actualSize = 500,
                                  .compressedSize = 300,
                                  .checksum = 0xDEADBEEF,
                                  .fileId = 7,
                                  .isFolder = true,
                                  .isEncrypted = true});
  EXPECT_EQ(toHex(encoded(*record, OXCBORMode::keyed)),
            toHex(fromHex("a8"
                          "64 70617468             64 646f6373"
                          "65 6d74696d65           c1 fb 41d452d9ec200000"
                          "6a 61637475616c53697a65 19 01f4"
                          "68 636f6d7053697a65     19 012c"
                          "68 636865636b73756d     1a deadbeef"
                          "66 66696c654964         07"
                          "68 6973466f6c646572     f5"
                          "6b 6973456e63727970746564 f5")));
  const std::string run = "64 646f6373 c1 fb 41d452d9ec200000 19 01f4 19 012c 1a deadbeef 07 f5 f5";
  EXPECT_EQ(toHex(encoded(*record, OXCBORMode::sequential)), toHex(fromHex(run)));
  EXPECT_EQ(toHex(encodedItem(*record, OXCBORMode::sequential)), toHex(fromHex("88" + run)));
}

TEST(ArchivedFileAsCBOR, IsPinnedWithoutPathAndTime) {
  const OXArchivedFile record;
  EXPECT_EQ(toHex(encoded(record, OXCBORMode::keyed)),
            toHex(fromHex("a6"
                          "6a 61637475616c53697a65 00"
                          "68 636f6d7053697a65     00"
                          "68 636865636b73756d     00"
                          "66 66696c654964         00"
                          "68 6973466f6c646572     f4"
                          "6b 6973456e63727970746564 f4")));
  EXPECT_EQ(toHex(encoded(record, OXCBORMode::sequential)),
            toHex(fromHex("f6 f6 00 00 00 00 f4 f4")));
}

const Fields records[] = {
    {},
    {.path = "a"},
    {.path = "docs/",
     .modificationTime = 1363896240.5,
     .actualSize = 500,
     .compressedSize = 300,
     .checksum = 0xDEADBEEF,
     .fileId = 7,
     .isFolder = true,
     .isEncrypted = true},
    {.path = "docs//"},
    {.path = "no time", .actualSize = 1},
    {.path = std::nullopt, .modificationTime = 0.0},
    {.path = std::string("a\0b", 3)},
    {.path = "\xc3\xa4\xe6\xb0\xb4\xf0\x9f\x98\x80"},
    {.path = "latin 1: \xe4"},
    {.path = "\xff\xfe"},
    {.path = std::string(23, 'x')},
    {.path = std::string(24, 'x')},
    {.path = std::string(70000, 'x')},
    {.path = "x", .modificationTime = -1.25},
    {.path = "x", .modificationTime = 1e300},
    {.path = "x", .modificationTime = std::numeric_limits<double>::infinity()},
    {.path = "x", .modificationTime = -std::numeric_limits<double>::infinity()},
    {.path = "x", .modificationTime = std::numeric_limits<double>::quiet_NaN()},
    {.path = "x", .modificationTime = 5e-324},
    {.path = "x", .modificationTime = -0.0},
    {.path = "x",
     .actualSize = std::numeric_limits<std::uint64_t>::max(),
     .compressedSize = std::numeric_limits<std::uint64_t>::max(),
     .checksum = std::numeric_limits<std::uint32_t>::max(),
     .fileId = std::numeric_limits<OXUnsignedWord>::max()},
    {.path = "x", .actualSize = std::uint64_t{1} << 63, .fileId = OXUnsignedWord{1} << 31},
    {.path = "x", .isFolder = true},
    {.path = "x", .isEncrypted = true},
};

TEST(ArchivedFileAsCBOR, ComesBackAsItWas) {
  for (const Fields& fields : records) {
    const auto record = makeRecord(fields);
    // Decoding sets the path again, which removes one more slash from its end.
    Fields expected = fields;
    expected.path = record->path();
    const std::string text = recordText(makeRecord(expected));
    SCOPED_TRACE(text.substr(0, 200));
    for (const OXCBORMode mode : bothModes) {
      EXPECT_EQ(decode(encoded(*record, mode), mode), text);
      EXPECT_EQ(decode(encodedItem(*record, mode), mode), text);
    }
  }
}

struct DecodingRow {
  std::string hex;
  std::string record;
};

const std::string fresh = recordText(makeRecord({}));
const std::string named = recordText(makeRecord({.path = "a"}));

// Hexadecimal, with keys as text.
std::string withKeys(std::string text) {
  const std::pair<std::string, std::string> keys[] = {{"path", "6470617468"},
                                                      {"mtime", "656d74696d65"},
                                                      {"actualSize", "6a61637475616c53697a65"},
                                                      {"compSize", "68636f6d7053697a65"},
                                                      {"checksum", "68636865636b73756d"},
                                                      {"fileId", "6666696c654964"},
                                                      {"isFolder", "686973466f6c646572"},
                                                      {"isEncrypted", "6b6973456e63727970746564"}};
  for (const auto& [key, hex] : keys) {
    for (std::size_t at = 0; (at = text.find(key)) != std::string::npos;) {
      text.replace(at, key.size(), hex);
    }
  }
  return text;
}

const DecodingRow keyedRows[] = {
    {"a0", fresh},
    {"bf ff", fresh},
    {"a1 path 6161", named},
    {"a1 path 61612f", "null"},  // two bytes after the string's end
    {"a1 path 62612f", named},
    {"a1 path 63612f2f", recordText(makeRecord({.path = "a//"}))},
    {"a1 path 612f", recordText(makeRecord({.path = "/"}))},
    {"a1 path 4161", named},
    {"a1 path 7f60ff", "null"},
    {"a1 path 7f616160ff", named},
    // A path that the setter refuses makes the record invalid.
    {"a1 path 60", "null"},
    {"a1 path 40", "null"},
    {"a1 path 7fff", "null"},
    // Any order, and unknown keys.
    {"a2 isFolder f5 path 6161", recordText(makeRecord({.path = "a", .isFolder = true}))},
    {"a3 616b 82f6a0 path 6161 00 01", named},
    // The first counts.
    {"a2 path 6161 path 6162", named},
    {"a2 path 6161 path f6", named},
    {"a2 path f6 path 6161", "null"},
    // The null marker fits no field.
    {"a1 path f6", "null"},
    {"a1 mtime f6", "null"},
    {"a1 actualSize f6", "null"},
    {"a1 compSize f6", "null"},
    {"a1 checksum f6", "null"},
    {"a1 fileId f6", "null"},
    {"a1 isFolder f6", "null"},
    {"a1 isEncrypted f6", "null"},
    {"a1 isEncrypted f7", "null"},
    // Other kinds.
    {"a1 path 01", "null"},
    {"a1 path c100", "null"},
    {"a1 path 80", "null"},
    {"a1 path c06161", "null"},
    {"a1 mtime 01", "null"},
    {"a1 mtime 6161", "null"},
    {"a1 mtime c074323031332d30332d32315432303a30343a30305a", "null"},
    {"a1 actualSize 6131", "null"},
    {"a1 actualSize c101", "null"},
    {"a1 actualSize c24101", "null"},
    {"a1 actualSize 8101", "null"},
    {"a1 isFolder 6174", "null"},
    // Numbers of any kind are converted, and dates of any number.
    {"a1 actualSize fb3ff8000000000000", recordText(makeRecord({.actualSize = 1}))},
    {"a1 actualSize f93e00", recordText(makeRecord({.actualSize = 1}))},
    {"a1 actualSize f5", recordText(makeRecord({.actualSize = 1}))},
    {"a1 actualSize 20", recordText(makeRecord({.actualSize = ~std::uint64_t{0}}))},
    {"a1 actualSize f97e00", fresh},
    {"a1 actualSize f9fc00", fresh},
    {"a1 compSize f97c00", recordText(makeRecord({.compressedSize = ~std::uint64_t{0}}))},
    {"a1 checksum 1b0000000100000002", recordText(makeRecord({.checksum = 2}))},
    {"a1 checksum fb41efffffffe00000", recordText(makeRecord({.checksum = 0xFFFFFFFF}))},
    {"a1 checksum fb41f0000000000000", recordText(makeRecord({.checksum = 0xFFFFFFFF}))},
    {"a1 checksum fb41f0000000700000", recordText(makeRecord({.checksum = 0xFFFFFFFF}))},
    {"a1 checksum f5", recordText(makeRecord({.checksum = 1}))},
    {"a1 checksum 20", recordText(makeRecord({.checksum = 0xFFFFFFFF}))},
    {"a1 mtime d86400", "null"},
    {"a1 mtime c13b0040000000000005",
     recordText(makeRecord({.modificationTime = -18014398509481992.0}))},
    // In an order other than that of encoding, and between unknown keys.
    {"a3 isEncrypted f5 isFolder f5 path 6161",
     recordText(makeRecord({.path = "a", .isFolder = true, .isEncrypted = true}))},
    {"a8 isEncrypted f5 isFolder f5 fileId 01 checksum 02 compSize 03 actualSize 04 mtime c105"
     "path 6161",
     recordText(makeRecord({.path = "a",
                            .modificationTime = 5,
                            .actualSize = 4,
                            .compressedSize = 3,
                            .checksum = 2,
                            .fileId = 1,
                            .isFolder = true,
                            .isEncrypted = true}))},
    {"a5 00 01 path 6161 f6 f7 actualSize 04 80 a0",
     recordText(makeRecord({.path = "a", .actualSize = 4}))},
    {"a4 actualSize 04 actualSize 05 path 6161 path 6162",
     recordText(makeRecord({.path = "a", .actualSize = 4}))},
    // Keys in other encodings.
    {"a2 4470617468 6161 5f48 6973466f6c646572 ff f5",
     recordText(makeRecord({.path = "a", .isFolder = true}))},
    {"a2 780470617468 6161 7f 62 6973 66 466f6c646572 ff f5",
     recordText(makeRecord({.path = "a", .isFolder = true}))},
    {"a2 5f4470617468ff 6161 path 6162", named},
    {"a2 4470617468 6161 path f6", named},
    {"a2 5f 40 40 4470617468 40 ff 6161 path 6162", named},
    {"a2 7f 647061746a 64696f6e73 ff f6 path 6161", named},
    {"a2 7f 6470617468 74 7878787878787878787878787878787878787878 ff f6 path 6161", named},
    {"a2 7f 6470617468 75 787878787878787878787878787878787878787878 ff f6 path 6161", named},
    {"a2 7f 75 787878787878787878787878787878787878787878 6470617468 ff f6 path 6161", named},
    {"a2 7818 70617468 7878787878787878787878787878787878787878 f6 path 6161", named},
    {"a2 5f ff f6 path 6161", named},
    // A sender's wider word is truncated to its low bits.
    {"a1 fileId 1b1122334455667788",
     recordText(makeRecord({.fileId = static_cast<OXUnsignedWord>(0x1122334455667788)}))},
    {"a1 fileId 20", recordText(makeRecord({.fileId = ~OXUnsignedWord{0}}))},
    {"a1 isFolder 02", recordText(makeRecord({.isFolder = true}))},
    {"a1 isEncrypted f90000", fresh},
    {"a1 mtime c100", recordText(makeRecord({.modificationTime = 0}))},
    {"a1 mtime c120", recordText(makeRecord({.modificationTime = -1}))},
    {"a1 mtime c1f93e00", recordText(makeRecord({.modificationTime = 1.5}))},
    {"a1 mtime c1fa3fc00000", recordText(makeRecord({.modificationTime = 1.5}))},
    // Not a record.
    {"", "null"},
    {"a1", "null"},
    {"a1 path", "null"},
    {"a2 path 6161", "null"},
    {"bf path 6161", "null"},
    {"a1 path 6161 00", "null"},
    {"80", "null"},
    {"f6", "null"},
    {"88 6161 f6 00 00 00 00 f4 f4", "null"},
    {"a1 path 7bffffffffffffffff", "null"},
    {"bbffffffffffffffff path 6161", "null"},
};

TEST(ArchivedFileAsCBOR, IsReadFromAnyMapOrNotAtAll) {
  for (const DecodingRow& row : keyedRows) {
    SCOPED_TRACE(row.hex);
    EXPECT_EQ(decode(fromHex(withKeys(row.hex)), OXCBORMode::keyed), row.record);
  }
}

const DecodingRow sequentialRows[] = {
    {"f6 f6 00 00 00 00 f4 f4", fresh},
    {"88 f6 f6 00 00 00 00 f4 f4", fresh},
    {"9f f6 f6 00 00 00 00 f4 f4 ff", fresh},
    {"6161 f6 00 00 00 00 f4 f4", named},
    {"4161 f6 00 00 00 00 f4 f4", named},
    {"7f6161ff f6 00 00 00 00 f4 f4", named},
    // In a sequence, the null marker is an absent value: 0 or false.
    {"6161 f6 f6 f6 f6 f6 f6 f6", named},
    // Further items are ignored.
    {"6161 f6 00 00 00 00 f4 f4 00", named},
    {"89 6161 f6 00 00 00 00 f4 f4 80", named},
    // Missing items make it invalid.
    {"", "null"},
    {"80", "null"},
    {"f6", "null"},
    {"6161", "null"},
    {"6161 c100", "null"},
    {"6161 f6 00 00 00 00 f4", "null"},
    {"87 6161 f6 00 00 00 00 f4", "null"},
    {"9f 6161 f6 00 00 00 00 f4 ff", "null"},
    {"f6 f6 f6 f6 f6 f6 f6", "null"},
    {"88 6161 f6 00 00 00 00 f4", "null"},
    {"9f 6161 f6 00 00 00 00 f4 f4", "null"},
    {"88 6161 f6 00 00 00 00 f4 f4 00", "null"},
    // A wrong kind in each position.
    {"00 f6 00 00 00 00 f4 f4", "null"},
    {"c100 f6 00 00 00 00 f4 f4", "null"},
    {"60 f6 00 00 00 00 f4 f4", "null"},
    {"6161 00 00 00 00 00 f4 f4", "null"},
    {"6161 6162 00 00 00 00 f4 f4", "null"},
    {"6161 f6 6162 00 00 00 f4 f4", "null"},
    {"6161 f6 00 c100 00 00 f4 f4", "null"},
    {"6161 f6 00 00 6162 00 f4 f4", "null"},
    {"6161 f6 00 00 00 6162 f4 f4", "null"},
    {"6161 f6 00 00 00 00 6162 f4", "null"},
    {"6161 f6 00 00 00 00 f4 6162", "null"},
    {"6161 f6 00 00 00 00 f4 f7", "null"},
    {"6161 f6 00 00 00 00 f4 80", "null"},
    {"a0", "null"},
    {"81 88 6161 f6 00 00 00 00 f4 f4", "null"},
};

TEST(ArchivedFileAsCBOR, IsReadFromAnyRunOrNotAtAll) {
  for (const DecodingRow& row : sequentialRows) {
    SCOPED_TRACE(row.hex);
    EXPECT_EQ(decode(fromHex(row.hex), OXCBORMode::sequential), row.record);
  }
}

// The coder itself reports it, also without `OXCBORDecodeRecord`.
TEST(ArchivedFileAsCBOR, IsNeverReadFromHalfOfIt) {
  for (const Fields& fields : records) {
    const auto record = makeRecord(fields);
    for (const OXCBORMode mode : bothModes) {
      for (const Bytes& whole : {encoded(*record, mode), encodedItem(*record, mode)}) {
        const std::size_t step = whole.size() > 1000 ? 997 : 1;
        for (std::size_t size = 0; size < whole.size(); size += step) {
          const Bytes cut(whole.begin(), whole.begin() + static_cast<long>(size));
          OXCBORDecoder decoder(cut, mode);
          ASSERT_EQ(recordText(OXArchivedFile::initWithCoder(decoder)), "null")
              << toHex(cut).substr(0, 200);
          ASSERT_EQ(decode(cut, mode), "null") << toHex(cut).substr(0, 200);
        }
      }
    }
  }
}

TEST(ArchivedFileAsCBOR, IsARecordOrNullWhateverTheDamage) {
  std::mt19937 random(42);
  int survivors = 0;
  for (const Fields& fields : records) {
    const auto record = makeRecord(fields);
    for (const OXCBORMode mode : bothModes) {
      const Bytes whole = encodedItem(*record, mode);
      if (whole.size() > 1000) {
        continue;
      }
      for (int round = 0; round < 2000; ++round) {
        Bytes bytes = whole;
        for (auto flips = 1 + random() % 3; flips != 0; --flips) {
          bytes[random() % bytes.size()] ^= static_cast<std::byte>(1U << random() % 8);
        }
        if (random() % 8 == 0) {
          bytes.resize(random() % bytes.size());
        }
        const auto damaged = OXCBORDecodeRecord<OXArchivedFile>(bytes, mode);
        if (damaged && damaged->path() != "" && !damaged->path().value_or("").ends_with('/')) {
          // It is an ordinary record.
          ++survivors;
          ASSERT_EQ(decode(encoded(*damaged, mode), mode), recordText(damaged)) << toHex(bytes);
        }
      }
    }
  }
  EXPECT_GT(survivors, 1000);
}

// A different key in each entry, or the same key in all of them; the last entry counts if its key
// is unique.
TEST(ArchivedFileAsCBOR, IsFoundAmongAnyNumberOfKeys) {
  for (const std::uint32_t step : {0U, 1U}) {
    Bytes bytes = fromHex("ba 00040002");
    const Bytes entry = fromHex("44 00000000 f6");
    for (std::uint32_t key = 0; key < 0x40000; ++key) {
      const std::uint32_t name = key * step;
      bytes.insert(bytes.end(), entry.begin(), entry.end());
      for (int i = 0; i < 4; ++i) {
        bytes[bytes.size() - 5 + static_cast<std::size_t>(i)] =
            static_cast<std::byte>(name >> 8 * i);
      }
    }
    for (const std::byte byte : fromHex(withKeys("path 6161 path 6162"))) {
      bytes.push_back(byte);
    }
    EXPECT_EQ(decode(bytes, OXCBORMode::keyed), named);
  }
}

// A class of a host's own.
class Listed : public OXArchivedFile {
 public:
  bool wasFilled = false;
  bool decodeWithCoder(OXCoder& coder) override {
    wasFilled = OXArchivedFile::decodeWithCoder(coder);
    return wasFilled;
  }
};

TEST(ArchivedFileAsCBOR, BecomesARecordOfADerivedClass) {
  for (const OXCBORMode mode : bothModes) {
    const Bytes bytes = encodedItem(*ox::test::numberedRecord(7), mode);
    const std::shared_ptr<Listed> listed = OXCBORDecodeRecord<Listed>(bytes, mode);
    ASSERT_NE(listed, nullptr);
    EXPECT_TRUE(listed->wasFilled);
    EXPECT_EQ(recordText(listed.get()), recordText(ox::test::numberedRecord(7)));
    EXPECT_EQ(OXCBORDecodeRecord<Listed>(std::span(bytes).first(bytes.size() - 1), mode), nullptr);
  }
}

// Without `reset()`: the bytes taken are complete, and a map holds one record.
TEST(ArchivedFileAsCBOR, IsNotLostBehindAnother) {
  const auto first = makeRecord({.modificationTime = 1});
  const auto second = makeRecord({.path = "second", .actualSize = 2});
  for (const OXCBORMode mode : bothModes) {
    OXCBOREncoder encoder(mode);
    first->encodeWithCoder(encoder);
    EXPECT_EQ(decode(encoder.item(), mode), recordText(first));
    second->encodeWithCoder(encoder);
    EXPECT_EQ(decode(encoder.bytes(), mode), recordText(second));
    EXPECT_EQ(toHex(encoder.item()), toHex(encodedItem(*second, mode)));
  }
  OXCBOREncoder keyed(OXCBORMode::keyed);
  first->encodeWithCoder(keyed);
  second->encodeWithCoder(keyed);
  EXPECT_EQ(decode(keyed.item(), OXCBORMode::keyed), recordText(second));
  // A sequence holds any number of records.
  OXCBOREncoder run(OXCBORMode::sequential);
  first->encodeWithCoder(run);
  second->encodeWithCoder(run);
  const auto bytes = run.bytes();
  OXCBORDecoder decoder(bytes, OXCBORMode::sequential);
  EXPECT_EQ(recordText(OXArchivedFile::initWithCoder(decoder)), recordText(first));
  EXPECT_EQ(recordText(OXArchivedFile::initWithCoder(decoder)), recordText(second));
  EXPECT_TRUE(decoder.isAtEnd());
}

// Without `reset()`, a host's own objects begin a new record, too.
TEST(ArchivedFileAsCBOR, IsNotMixedWithAHostsNextRecord) {
  for (const OXCBORMode mode : bothModes) {
    OXCBOREncoder encoder(mode);
    makeRecord({.path = "first"})->encodeWithCoder(encoder);
    EXPECT_EQ(encoder.bytes().size(), encoded(*makeRecord({.path = "first"}), mode).size());
    encoder.encodeObjectForKey("second", "path");
    encoder.encodeObject("second");
    OXCBORDecoder decoder(encoder.item(), mode);
    const bool keyed = mode == OXCBORMode::keyed;
    const auto path = keyed ? decoder.decodeObjectForKey("path") : decoder.decodeObject();
    EXPECT_EQ(std::get<std::string>(path.value()), "second");
    EXPECT_FALSE(keyed ? decoder.decodeObjectForKey("mtime").has_value() : !decoder.isAtEnd());
  }
}

// Of two records in one map, neither taken, the second replaces all before it: what a derived class
// wrote in front of either is lost, and no record has fields of both.
TEST(ArchivedFileAsCBOR, ReplacesAllThatWasNotTaken) {
  OXCBOREncoder encoder(OXCBORMode::keyed);
  for (const std::uint32_t number : {1U, 2U}) {
    encoder.encodeObjectForKey(OXNumber(number), "before");
    ox::test::numberedRecord(number)->encodeWithCoder(encoder);
    encoder.encodeObjectForKey(OXNumber(number), "after");
  }
  OXCBORDecoder decoder(encoder.item(), OXCBORMode::keyed);
  EXPECT_EQ(recordText(OXArchivedFile::initWithCoder(decoder)),
            recordText(ox::test::numberedRecord(2)));
  EXPECT_FALSE(decoder.decodeObjectForKey("before"));
  EXPECT_EQ(std::get<OXNumber>(decoder.decodeObjectForKey("after").value()).unsigned32Value(), 2U);
}

// A host's own objects are a part of its record.
TEST(ArchivedFileAsCBOR, StandsAmongOtherObjects) {
  OXCBOREncoder encoder(OXCBORMode::keyed);
  for (const std::uint32_t number : {1U, 2U}) {
    encoder.encodeObjectForKey(OXNumber(number), "before");
    ox::test::numberedRecord(number)->encodeWithCoder(encoder);
    encoder.encodeObjectForKey(OXNumber(number), "after");
    OXCBORDecoder decoder(encoder.item(), OXCBORMode::keyed);
    EXPECT_EQ(recordText(OXArchivedFile::initWithCoder(decoder)),
              recordText(ox::test::numberedRecord(number)));
    for (const char* key : {"before", "after"}) {
      const std::optional<OXValue> object = decoder.decodeObjectForKey(key);
      ASSERT_TRUE(object);
      EXPECT_EQ(std::get<OXNumber>(*object).unsigned32Value(), number);
    }
  }
}

// After an invalid record, the decoder is at the next one.
TEST(ArchivedFileAsCBOR, IsReadBehindARefusedOne) {
  const Bytes bytes = fromHex("00 f6 00 00 00 00 f4 f4 6161 f6 00 00 00 00 f4 f4");
  OXCBORDecoder decoder(bytes, OXCBORMode::sequential);
  EXPECT_EQ(OXArchivedFile::initWithCoder(decoder), nullptr);
  EXPECT_FALSE(decoder.hasFailed());
  EXPECT_EQ(recordText(OXArchivedFile::initWithCoder(decoder)), named);
  EXPECT_TRUE(decoder.isAtEnd());
}

TEST(ArchivedFileAsCBOR, TakesNoMemoryToBeWrittenAgain) {
  for (const OXCBORMode mode : bothModes) {
    OXCBOREncoder encoder(mode);
    const auto first = makeRecord({.path = std::string(1000, 'x'), .modificationTime = 1});
    first->encodeWithCoder(encoder);
    const auto second = ox::test::numberedRecord(12345);
    const ox::test::AllocationCount allocations;
    encoder.reset();
    second->encodeWithCoder(encoder);
    const std::span<const std::byte> item = encoder.item();
    EXPECT_EQ(allocations.count(), 0U);
    EXPECT_EQ(decode(item, mode), recordText(second));
  }
}

// Only the record and its path are allocated.
TEST(ArchivedFileAsCBOR, TakesTwoPiecesOfMemoryToBeRead) {
  for (const OXCBORMode mode : bothModes) {
    const Bytes bytes = encodedItem(*ox::test::numberedRecord(12345), mode);
    const ox::test::AllocationCount allocations;
    const auto record = OXCBORDecodeRecord<OXArchivedFile>(bytes, mode);
    EXPECT_EQ(allocations.count(), 2U);
    EXPECT_EQ(record->fileId(), 12345U);
  }
}

}  // namespace

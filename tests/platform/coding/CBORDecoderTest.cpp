// SPDX-License-Identifier: MIT

#include <OrvexKit/platform/OXCBORCoder.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

#include "support/AllocationCount.h"
#include "support/Bytes.h"
#include "support/Share.h"
#include "support/ValueText.h"

namespace {

using ox::test::Bytes;
using ox::test::fromHex;
using ox::test::joined;
using ox::test::stringText;
using ox::test::toHex;
using ox::test::valueText;

// The decoder's result for an item that is not an object.
const std::string misfit = "misfit";

std::string lookUp(const Bytes& bytes, std::string_view key) {
  OXCBORDecoder decoder(bytes, OXCBORMode::keyed);
  return valueText(decoder.decodeObjectForKey(key));
}

// The strictest record: an object of a wrong kind makes it null, and a missing number is 0.
struct Named {
  OXString name;
  std::uint64_t size = 0;

  static std::shared_ptr<Named> initWithCoder(OXCoder& coder) {
    const bool keyed = coder.allowsKeyedCoding();
    std::optional<OXValue> name = keyed ? coder.decodeObjectForKey("name") : coder.decodeObject();
    std::optional<OXValue> size = keyed ? coder.decodeObjectForKey("size") : coder.decodeObject();
    for (auto* object : {&name, &size}) {
      if (!keyed && *object && std::holds_alternative<OXNull>(**object)) {
        object->reset();
      }
    }
    auto record = std::make_shared<Named>();
    if (name) {
      if (!std::holds_alternative<std::string>(*name)) {
        return nullptr;
      }
      record->name = std::get<std::string>(*name);
    }
    if (size) {
      if (!std::holds_alternative<OXNumber>(*size)) {
        return nullptr;
      }
      record->size = std::get<OXNumber>(*size).unsigned64Value();
    }
    return record;
  }
};

std::string namedText(const std::shared_ptr<Named>& record) {
  return record ? record->name.value_or("(null)") + " " + std::to_string(record->size) : "null";
}

// Decodes the record with and without the final check of the decoder, which a record with such
// fields does not need.
std::string decodeNamed(const Bytes& bytes, OXCBORMode mode) {
  OXCBORDecoder decoder(bytes, mode);
  const std::string direct = namedText(Named::initWithCoder(decoder));
  std::string safe = namedText(OXCBORDecodeRecord<Named>(bytes, mode));
  EXPECT_EQ(direct, safe) << toHex(bytes);
  return safe;
}

// The examples of RFC 8949, appendix A, as objects; "" if they are not objects.
struct ItemRow {
  std::string hex;
  std::string object;
};

const ItemRow itemRows[] = {
    {"00", "unsigned 0"},
    {"01", "unsigned 1"},
    {"0a", "unsigned 10"},
    {"17", "unsigned 23"},
    {"1818", "unsigned 24"},
    {"1819", "unsigned 25"},
    {"1864", "unsigned 100"},
    {"1903e8", "unsigned 1000"},
    {"1a000f4240", "unsigned 1000000"},
    {"1b000000e8d4a51000", "unsigned 1000000000000"},
    {"1bffffffffffffffff", "unsigned 18446744073709551615"},
    {"c249010000000000000000", ""},
    {"3bffffffffffffffff", ""},
    {"c349010000000000000000", ""},
    {"20", "signed -1"},
    {"29", "signed -10"},
    {"3863", "signed -100"},
    {"3903e7", "signed -1000"},
    {"f90000", "double 0"},
    {"f98000", "double -0"},
    {"f93c00", "double 1"},
    {"fb3ff199999999999a", "double 1.1000000000000001"},
    {"f93e00", "double 1.5"},
    {"f97bff", "double 65504"},
    {"fa47c35000", "double 100000"},
    {"fa7f7fffff", "double 3.4028234663852886e+38"},
    {"fb7e37e43c8800759c", "double 1.0000000000000001e+300"},
    {"f90001", "double 5.9604644775390625e-08"},
    {"f90400", "double 6.103515625e-05"},
    {"f9c400", "double -4"},
    {"fbc010666666666666", "double -4.0999999999999996"},
    {"f97c00", "double inf"},
    {"f97e00", "double nan"},
    {"f9fc00", "double -inf"},
    {"fa7f800000", "double inf"},
    {"fa7fc00000", "double nan"},
    {"faff800000", "double -inf"},
    {"fb7ff0000000000000", "double inf"},
    {"fb7ff8000000000000", "double nan"},
    {"fbfff0000000000000", "double -inf"},
    {"f4", "boolean 0"},
    {"f5", "boolean 1"},
    {"f6", "null marker"},
    {"f7", ""},
    {"f0", ""},
    {"f8ff", ""},
    {"c074323031332d30332d32315432303a30343a30305a", ""},
    {"c11a514b67b0", "date 1363896240"},
    {"c1fb41d452d9ec200000", "date 1363896240.5"},
    {"d86400", ""},  // days, not seconds
    {"d74401020304", ""},
    {"d818456449455446", ""},
    {"d82076687474703a2f2f7777772e6578616d706c652e636f6d", ""},
    {"40", stringText("")},
    {"4401020304", stringText("\x01\x02\x03\x04")},
    {"60", stringText("")},
    {"6161", stringText("a")},
    {"6449455446", stringText("IETF")},
    {"62225c", stringText("\"\\")},
    {"62c3bc", stringText("\xc3\xbc")},
    {"63e6b0b4", stringText("\xe6\xb0\xb4")},
    {"64f0908591", stringText("\xf0\x90\x85\x91")},
    {"80", ""},
    {"83010203", ""},
    {"8301820203820405", ""},
    {"98190102030405060708090a0b0c0d0e0f101112131415161718181819", ""},
    {"a0", ""},
    {"a201020304", ""},
    {"a26161016162820203", ""},
    {"826161a161626163", ""},
    {"a56161614161626142616361436164614461656145", ""},
    {"5f42010243030405ff", stringText("\x01\x02\x03\x04\x05")},
    {"7f657374726561646d696e67ff", stringText("streaming")},
    {"9fff", ""},
    {"9f018202039f0405ffff", ""},
    {"9f01820203820405ff", ""},
    {"83018202039f0405ff", ""},
    {"83019f0203ff820405", ""},
    {"9f0102030405060708090a0b0c0d0e0f101112131415161718181819ff", ""},
    {"bf61610161629f0203ffff", ""},
    {"826161bf61626163ff", ""},
    {"bf6346756ef563416d7421ff", ""},

    // Longer encodings than necessary.
    {"1800", "unsigned 0"},
    {"190001", "unsigned 1"},
    {"1b0000000000000001", "unsigned 1"},
    {"3b0000000000000000", "signed -1"},
    {"780161", stringText("a")},
    {"7b000000000000000161", stringText("a")},
    {"5b000000000000000161", stringText("a")},
    {"7a0000000161", stringText("a")},
    // The limits of a signed number.
    {"3b7fffffffffffffff", "signed -9223372036854775808"},
    {"3b8000000000000000", ""},
    // Text that is not UTF-8 is a valid name.
    {"61ff", stringText("\xff")},
    {"63eda080", stringText("\xed\xa0\x80")},
    {"7f61ff61c3ff", stringText("\xff\xc3")},
    {"7fff", stringText("")},
    {"5fff", stringText("")},
    {"7f60616160ff", stringText("a")},
    // Dates.
    {"c100", "date 0"},
    {"c120", "date -1"},
    {"c13863", "date -100"},
    {"c11bffffffffffffffff", "date 1.8446744073709552e+19"},
    {"c13bffffffffffffffff", "date -1.8446744073709552e+19"},
    // The nearest double, rounded once; a tie goes to the even one.
    {"c13b003fffffffffffff", "date -18014398509481984"},
    {"c13b0040000000000000", "date -18014398509481984"},
    {"c13b0040000000000001", "date -18014398509481984"},
    {"c13b0040000000000002", "date -18014398509481988"},
    {"c13b0040000000000005", "date -18014398509481992"},
    {"c13b7ffffffffffffbff", "date -9.2233720368547748e+18"},
    {"c13bfffffffffffffbfe", "date -1.844674407370955e+19"},
    {"c13bfffffffffffffbff", "date -1.8446744073709552e+19"},
    {"c13bfffffffffffffc00", "date -1.8446744073709552e+19"},
    {"c13bfffffffffffffffe", "date -1.8446744073709552e+19"},
    {"c1f93800", "date 0.5"},
    {"c1fa3f000000", "date 0.5"},
    {"c1fb7ff0000000000000", "date inf"},
    {"c1fb7ff8000000000000", "date nan"},
    {"c1f97e00", "date nan"},
    {"d80100", "date 0"},
    {"db000000000000000100", "date 0"},
    {"c1f5", ""},
    {"c1f6", ""},
    {"c16131", ""},
    {"c1c100", ""},
    {"c18100", ""},
    // Tags that change, or may change, the meaning of a string or a number.
    {"c200", ""},
    {"c66161", ""},
    {"c7f6", ""},
    {"d4f5", ""},
    {"d9d9f700", ""},
    {"dbffffffffffffffff00", ""},
    {"c9c9c900", ""},
    // Simple values.
    {"e0", ""},
    {"f3", ""},
    {"f820", ""},
};

TEST(CBORDecoder, ReadsEveryKindOfItem) {
  for (const ItemRow& row : itemRows) {
    SCOPED_TRACE(row.hex);
    const bool isObject = !row.object.empty();
    const Bytes keyed = fromHex("a2 6161 01 616b" + row.hex);
    OXCBORDecoder decoder(keyed, OXCBORMode::keyed);
    EXPECT_FALSE(decoder.hasFailed());
    EXPECT_EQ(valueText(decoder.decodeObjectForKey("k")), isObject ? row.object : misfit);
    EXPECT_EQ(decoder.hasFailed(), !isObject);
    EXPECT_EQ(valueText(decoder.decodeObjectForKey("a")), isObject ? "unsigned 1" : misfit);

    for (const std::string& hex :
         {"01" + row.hex + "02", "8301" + row.hex + "02", "9f01" + row.hex + "02ff"}) {
      SCOPED_TRACE(hex);
      const Bytes run = fromHex(hex);
      OXCBORDecoder sequential(run, OXCBORMode::sequential);
      EXPECT_EQ(valueText(sequential.decodeObject()), "unsigned 1");
      EXPECT_FALSE(sequential.hasFailed());
      EXPECT_EQ(valueText(sequential.decodeObject()), isObject ? row.object : misfit);
      EXPECT_EQ(sequential.hasFailed(), !isObject);
      EXPECT_EQ(valueText(sequential.decodeObject()), isObject ? "unsigned 2" : misfit);
      EXPECT_TRUE(sequential.isAtEnd());
    }
  }
}

// Near the end of the bytes, numbers are read in another way.
TEST(CBORDecoder, ReadsAnItemHoweverMuchFollows) {
  for (const ItemRow& row : itemRows) {
    if (row.object.empty()) {
      continue;
    }
    Bytes run = fromHex(row.hex);
    for (int following = 0; following <= 12; ++following) {
      SCOPED_TRACE(row.hex + " and " + std::to_string(following));
      OXCBORDecoder decoder(run, OXCBORMode::sequential);
      EXPECT_EQ(valueText(decoder.decodeObject()), row.object);
      for (int i = 0; i < following; ++i) {
        EXPECT_EQ(valueText(decoder.decodeObject()), "unsigned 2");
      }
      EXPECT_TRUE(decoder.isAtEnd());
      EXPECT_FALSE(decoder.hasFailed());
      run.push_back(std::byte{2});
    }
  }
}

TEST(CBORDecoder, PassesOverEveryKindOfItem) {
  for (const ItemRow& row : itemRows) {
    // As a value and as a key, also next to the wanted key and nested around it.
    for (const std::string& hex :
         {"a2 616b" + row.hex + "627a7a 01", "bf 616b" + row.hex + "627a7a 01 ff",
          "a2" + row.hex + "02 627a7a 01", "a2 a1 627a7a 02" + row.hex + "627a7a 01",
          "a2 616b 82" + row.hex + "627a7a 627a7a 01"}) {
      EXPECT_EQ(lookUp(fromHex(hex), "zz"), "unsigned 1") << hex;
    }
  }
}

// RFC 8949, appendix F, and similar ones.
const std::string illFormed[] = {
    // Truncated.
    "18",
    "19",
    "1a",
    "1b",
    "1901",
    "1a0102",
    "1b01020304050607",
    "38",
    "58",
    "78",
    "98",
    "9a01ff00",
    "b8",
    "d8",
    "f8",
    "f900",
    "fa0000",
    "fb000000",
    "41",
    "61",
    "5affffffff00",
    "5bffffffffffffffff010203",
    "7affffffff00",
    "7b7fffffffffffffff010203",
    "7bfffffffffffffff7",
    "81",
    "818181818181818181",
    "8200",
    "a1",
    "a20102",
    "a100",
    "a2000000",
    "9bffffffffffffffff",
    "bbffffffffffffffff",
    "bb7fffffffffffffff0000",
    "bb8000000000000000",
    "5f4100",
    "7f6100",
    "5f",
    "7f",
    "9f",
    "9f0102",
    "bf",
    "bf01020102",
    "819f",
    "9f8000",
    "9f9f9f9f9fffffffff",
    "9f819f819f9fffffff",
    "c0",
    "c1",
    "d81e",
    "c1c1",
    // Reserved.
    "1c",
    "1d",
    "1e",
    "3c",
    "3d",
    "3e",
    "5c",
    "5d",
    "5e",
    "7c",
    "7d",
    "7e",
    "9c",
    "9d",
    "9e",
    "bc",
    "bd",
    "be",
    "dc",
    "dd",
    "de",
    "fc",
    "fd",
    "fe",
    "1f",
    "3f",
    "df",
    "f800",
    "f801",
    "f818",
    "f81f",
    // Chunks of a wrong kind.
    "5f00ff",
    "5f21ff",
    "5f6100ff",
    "5f80ff",
    "5fa0ff",
    "5fc000ff",
    "5fe0ff",
    "5ff6ff",
    "7f4100ff",
    "5f5f4100ffff",
    "7f7f6100ffff",
    "5fc14100ff",
    // A break outside of an indefinite-length item.
    "ff",
    "81ff",
    "8200ff",
    "a1ff",
    "a1ff00",
    "a100ff",
    "a20000ff",
    "9f81ff",
    "9f829f819f9fffffffff",
    "bf00ff",
    "bf000000ff",
    "9fc1ff",
    "c1ff",
};

TEST(CBORDecoder, RefusesWhatIsIllFormed) {
  for (const std::string& hex : illFormed) {
    SCOPED_TRACE(hex);
    for (const std::string& whole : {hex, "a2 6161 01 616b" + hex, "bf 6161 01 616b" + hex,
                                     "a2 6161 01" + hex, "bf 6161 01" + hex}) {
      if (whole == "bf 6161 01ff") {
        continue;  // the one place where a break belongs
      }
      const Bytes bytes = fromHex(whole);
      OXCBORDecoder decoder(bytes, OXCBORMode::keyed);
      EXPECT_TRUE(decoder.hasFailed()) << whole;
      EXPECT_EQ(valueText(decoder.decodeObjectForKey("a")), misfit) << whole;
      EXPECT_EQ(valueText(decoder.decodeObjectForKey("z")), misfit) << whole;
    }
    for (const std::string& whole : {hex, "01" + hex, "8201" + hex, "9f01" + hex}) {
      if (whole == "9f01ff") {
        continue;
      }
      const Bytes bytes = fromHex(whole);
      OXCBORDecoder decoder(bytes, OXCBORMode::sequential);
      EXPECT_TRUE(decoder.hasFailed()) << whole;
      EXPECT_TRUE(decoder.isAtEnd()) << whole;
      EXPECT_EQ(valueText(decoder.decodeObject()), misfit) << whole;
    }
  }
}

TEST(CBORDecoder, RefusesWhatIsNoRecord) {
  // Keyed: anything except exactly one map.
  for (const std::string hex :
       {"", "00", "80", "8161", "6161", "f6", "a000", "a0a0", "bfff00", "c1a0", "d9d9f7a0", "ff"}) {
    SCOPED_TRACE(hex);
    const Bytes bytes = fromHex(hex);
    EXPECT_TRUE(OXCBORDecoder(bytes, OXCBORMode::keyed).hasFailed());
    EXPECT_EQ(decodeNamed(bytes, OXCBORMode::keyed), "null");
  }
  // Sequential: an array followed by another item.
  for (const std::string hex : {"80f6", "8000", "82 6161 01 6162 02", "9fff9fff"}) {
    SCOPED_TRACE(hex);
    const Bytes bytes = fromHex(hex);
    EXPECT_TRUE(OXCBORDecoder(bytes, OXCBORMode::sequential).hasFailed());
    EXPECT_EQ(decodeNamed(bytes, OXCBORMode::sequential), "null");
  }
}

TEST(CBORDecoder, DecodesAKeyedRecordOrNone) {
  const std::pair<std::string, std::string> rows[] = {
      {"a2 646e616d65 6161 6473697a65 05", "a 5"},
      {"bf 646e616d65 6161 6473697a65 05 ff", "a 5"},
      {"a2 6473697a65 05 646e616d65 6161", "a 5"},
      {"a1 646e616d65 6161", "a 0"},
      {"a1 6473697a65 05", "(null) 5"},
      {"a0", "(null) 0"},
      {"bfff", "(null) 0"},
      // Keys as bytes and in chunks.
      {"a2 446e616d65 6161 7f627369627a65ff 05", "a 5"},
      {"a2 5f416e43616d65ff 6161 6473697a65 05", "a 5"},
      {"a2 7f646e616d6560ff 6161 7f6473697a65ff 05", "a 5"},
      {"a2 7f646e616d6561ff 6161 7f6373697aff 05", "null"},
      {"a2 7f646e616d656178ff 6161 7f6373697aff 05", "(null) 0"},
      {"a1 7fff 6161", "(null) 0"},
      // The first of two counts.
      {"a4 646e616d65 6161 6473697a65 05 646e616d65 6162 6473697a65 06", "a 5"},
      {"a3 646e616d65 6161 6473697a65 05 446e616d65 6162", "a 5"},
      {"a3 5f446e616d65ff 6161 6473697a65 05 646e616d65 6162", "a 5"},
      {"a3 646e616d65 6161 646e616d65 00 6473697a65 05", "a 5"},
      {"a3 646e616d65 00 646e616d65 6161 6473697a65 05", "null"},
      // Other keys are skipped.
      {"a4 01 02 646e616d65 6161 f6 f7 6473697a65 05", "a 5"},
      {"a3 636e616d 6178 646e616d65 6161 656e616d6573 6178", "a 0"},
      // Wrong kinds.
      {"a2 646e616d65 05 6473697a65 05", "null"},
      {"a2 646e616d65 f6 6473697a65 05", "null"},
      {"a2 646e616d65 f7 6473697a65 05", "null"},
      {"a2 646e616d65 80 6473697a65 05", "null"},
      {"a2 646e616d65 c1fb0000000000000000 6473697a65 05", "null"},
      {"a2 646e616d65 6161 6473697a65 6161", "null"},
      {"a2 646e616d65 6161 6473697a65 f6", "null"},
      {"a2 646e616d65 6161 6473697a65 c105", "null"},
      {"a2 646e616d65 6161 6473697a65 a0", "null"},
      {"a2 646e616d65 6161 6473697a65 c24105", "null"},
  };
  for (const auto& [hex, record] : rows) {
    SCOPED_TRACE(hex);
    EXPECT_EQ(decodeNamed(fromHex(hex), OXCBORMode::keyed), record);
  }
}

TEST(CBORDecoder, DecodesASequentialRecordOrNone) {
  const std::pair<std::string, std::string> rows[] = {
      {"6161 05", "a 5"},
      {"82 6161 05", "a 5"},
      {"9f 6161 05 ff", "a 5"},
      {"f6 05", "(null) 5"},
      {"6161 f6", "a 0"},
      {"7f6161ff 05", "a 5"},
      {"4161 05", "a 5"},
      // Further items are ignored.
      {"6161 05 06", "a 5"},
      {"83 6161 05 80", "a 5"},
      // Too short.
      {"", "null"},
      {"80", "null"},
      {"9fff", "null"},
      {"6161", "null"},
      {"81 6161", "null"},
      {"9f 6161 ff", "null"},
      {"f6", "null"},
      // Truncated.
      {"82 6161", "null"},
      {"9f 6161 05", "null"},
      {"6161 18", "null"},
      {"61", "null"},
      // Wrong kinds.
      {"05 05", "null"},
      {"f7 05", "null"},
      {"6161 6161", "null"},
      {"6161 c105", "null"},
      {"6161 81 05", "null"},
      {"8182 6161 05", "null"},
      {"a1 6161 05", "null"},
  };
  for (const auto& [hex, record] : rows) {
    SCOPED_TRACE(hex);
    EXPECT_EQ(decodeNamed(fromHex(hex), OXCBORMode::sequential), record);
  }
}

TEST(CBORDecoder, TellsAMissingObjectFromAFailure) {
  const Bytes keyed = fromHex("a2 6161 01 616e f6");
  OXCBORDecoder decoder(keyed, OXCBORMode::keyed);
  EXPECT_EQ(valueText(decoder.decodeObjectForKey("b")), "none");
  EXPECT_EQ(valueText(decoder.decodeObjectForKey("")), "none");
  EXPECT_EQ(valueText(decoder.decodeObjectForKey("n")), "null marker");
  EXPECT_FALSE(decoder.hasFailed());
  EXPECT_EQ(valueText(decoder.decodeObjectForKey("a")), "unsigned 1");
  EXPECT_EQ(valueText(decoder.decodeObjectForKey("a")), "unsigned 1");

  const Bytes run = fromHex("01 f6");
  OXCBORDecoder sequential(run, OXCBORMode::sequential);
  EXPECT_FALSE(sequential.isAtEnd());
  EXPECT_EQ(valueText(sequential.decodeObject()), "unsigned 1");
  EXPECT_EQ(valueText(sequential.decodeObject()), "null marker");
  EXPECT_TRUE(sequential.isAtEnd());
  EXPECT_FALSE(sequential.hasFailed());
  EXPECT_EQ(valueText(sequential.decodeObject()), misfit);
  EXPECT_TRUE(sequential.hasFailed());
}

// A sequence can be read record by record.
TEST(CBORDecoder, ReadsRecordsFromOneRun) {
  const Bytes run = fromHex("6161 01 6162 02 6163 03");
  OXCBORDecoder decoder(run, OXCBORMode::sequential);
  std::string records;
  while (!decoder.isAtEnd()) {
    records += namedText(Named::initWithCoder(decoder)) + ";";
  }
  EXPECT_EQ(records, "a 1;b 2;c 3;");
  EXPECT_FALSE(decoder.hasFailed());
}

TEST(CBORDecoder, IgnoresTheOtherModeAndGivesItNoObjects) {
  const Bytes bytes = fromHex("a1 6161 01");
  OXCBORDecoder keyed(bytes, OXCBORMode::keyed);
  EXPECT_TRUE(keyed.allowsKeyedCoding());
  EXPECT_TRUE(keyed.isAtEnd());
  EXPECT_EQ(valueText(keyed.decodeObject()), "none");
  keyed.encodeObject("x");
  keyed.encodeObjectForKey("x", "a");
  EXPECT_EQ(valueText(keyed.decodeObjectForKey("a")), "unsigned 1");
  EXPECT_FALSE(keyed.hasFailed());
  OXCBORDecoder sequential(bytes, OXCBORMode::sequential);
  EXPECT_FALSE(sequential.allowsKeyedCoding());
  EXPECT_EQ(valueText(sequential.decodeObjectForKey("a")), "none");
  EXPECT_FALSE(sequential.hasFailed());
}

// Each key occurs twice, with all the others in between.
TEST(CBORDecoder, FindsTheFirstOfManyEntries) {
  for (std::size_t count = 0; count <= 40; ++count) {
    SCOPED_TRACE(count);
    OXCBOREncoder encoder(OXCBORMode::keyed);
    for (std::size_t i = 0; i < count; ++i) {
      encoder.encodeObjectForKey(OXNumber(std::uint64_t{i}), "key" + std::to_string(i));
    }
    for (std::size_t i = 0; i < count; ++i) {
      encoder.encodeObjectForKey("again", "key" + std::to_string(i));
    }
    encoder.encodeObjectForKey("last", "last");
    OXCBORDecoder decoder(encoder.bytes(), OXCBORMode::keyed);
    for (std::size_t i = 0; i < count; ++i) {
      EXPECT_EQ(valueText(decoder.decodeObjectForKey("key" + std::to_string(i))),
                "unsigned " + std::to_string(i));
    }
    EXPECT_EQ(valueText(decoder.decodeObjectForKey("last")), stringText("last"));
    EXPECT_EQ(valueText(decoder.decodeObjectForKey("key" + std::to_string(count))), "none");
    EXPECT_FALSE(decoder.hasFailed());
  }
}

// After a key in chunks, a key that is not a string, or 16 entries, the first match still counts.
TEST(CBORDecoder, FindsTheFirstEntryWhateverStandsBeforeIt) {
  const std::string filler[] = {"7f6178ff 00", "01 00",     "6178 00", "5fff 00",
                                "80 00",       "c16178 00", "f6 00"};
  for (const std::string& item : filler) {
    for (const int count : {0, 1, 15, 16, 17, 33}) {
      SCOPED_TRACE(item + " x " + std::to_string(count));
      std::string hex = "bf";
      for (int i = 0; i < count; ++i) {
        hex += item;
      }
      hex += "7f616bff 01 616b 02 616b 03 ff";
      EXPECT_EQ(lookUp(fromHex(hex), "k"), "unsigned 1");
      EXPECT_EQ(lookUp(fromHex(hex), "z"), "none");
    }
  }
}

// A look-up goes on behind the last value found, and still gives the first of two.
TEST(CBORDecoder, FindsTheFirstEntryAgainAfterLaterOnes) {
  const std::string firstKeys[] = {"6161", "4161", "7f6161ff", "5f416140ff"};
  for (const std::string& key : firstKeys) {
    SCOPED_TRACE(key);
    const Bytes bytes = fromHex("a6" + key + "01 6162 02 6161 03 6163 04 6162 05 6164 06");
    for (const std::string_view order :
         {"aabbccdd", "abcda", "abab", "ba", "bca", "cab", "dcba", "dadbdc", "axbxaxc", "xdxa"}) {
      SCOPED_TRACE(order);
      OXCBORDecoder decoder(bytes, OXCBORMode::keyed);
      for (const char asked : order) {
        const std::string value = asked == 'a'   ? "unsigned 1"
                                  : asked == 'b' ? "unsigned 2"
                                  : asked == 'c' ? "unsigned 4"
                                  : asked == 'd' ? "unsigned 6"
                                                 : "none";
        EXPECT_EQ(valueText(decoder.decodeObjectForKey(std::string_view(&asked, 1))), value);
      }
      EXPECT_FALSE(decoder.hasFailed());
    }
  }
}

TEST(CBORDecoder, BoundsTheDepthAndTakesNoMemoryForIt) {
  const std::string openings[] = {"81", "9f", "a100", "bf00"};
  for (const std::string& opening : openings) {
    SCOPED_TRACE(opening);
    const bool isIndefinite = opening == "9f" || opening == "bf00";
    const auto nested = [&](std::size_t depth) {
      Bytes bytes;
      for (std::size_t i = 0; i < depth; ++i) {
        bytes = joined(std::move(bytes), fromHex(opening));
      }
      bytes.push_back(std::byte{0});
      bytes.resize(bytes.size() + (isIndefinite ? depth : 0), std::byte{0xFF});
      return bytes;
    };
    for (const std::size_t depth : {1U, 63U, 64U}) {
      EXPECT_EQ(lookUp(joined(joined(fromHex("a2 6162"), nested(depth)), fromHex("6161 01")), "a"),
                "unsigned 1")
          << depth;
    }
    for (const std::size_t depth : {65U, 1000U, 20000U}) {
      const Bytes bytes = joined(joined(fromHex("a2 6162"), nested(depth)), fromHex("6161 01"));
      const ox::test::AllocationCount allocations;
      OXCBORDecoder decoder(bytes, OXCBORMode::keyed);
      EXPECT_TRUE(decoder.hasFailed()) << depth;
      OXCBORDecoder sequential(bytes, OXCBORMode::sequential);
      EXPECT_TRUE(sequential.hasFailed()) << depth;
      EXPECT_EQ(allocations.count(), 0U);
    }
  }
}

TEST(CBORDecoder, TakesAnyNumberOfTags) {
  Bytes bytes = fromHex("a2 6162");
  bytes.resize(bytes.size() + 1000000, std::byte{0xC1});
  bytes = joined(std::move(bytes), fromHex("00 6161 01"));
  OXCBORDecoder decoder(bytes, OXCBORMode::keyed);
  EXPECT_EQ(valueText(decoder.decodeObjectForKey("a")), "unsigned 1");
  EXPECT_EQ(valueText(decoder.decodeObjectForKey("b")), misfit);
}

TEST(CBORDecoder, LooksThroughALargeMap) {
  OXCBOREncoder encoder(OXCBORMode::keyed);
  for (int i = 0; i < ox::test::shareOf(1'000'000); ++i) {
    encoder.encodeObjectForKey(OXNumber(static_cast<std::uint64_t>(i)), "k");
  }
  encoder.encodeObjectForKey("found", "last");
  const std::span<const std::byte> bytes = encoder.bytes();
  const ox::test::AllocationCount allocations;
  OXCBORDecoder decoder(bytes, OXCBORMode::keyed);
  for (int i = 0; i < 8; ++i) {
    EXPECT_FALSE(decoder.decodeObjectForKey("missing"));
  }
  EXPECT_EQ(allocations.count(), 0U);
  EXPECT_EQ(valueText(decoder.decodeObjectForKey("last")), stringText("found"));
  EXPECT_EQ(valueText(decoder.decodeObjectForKey("k")), "unsigned 0");
}

TEST(CBORDecoder, ReadsInPlace) {
  const Bytes bytes = fromHex("a2 6161 01 6162 6178");
  const ox::test::AllocationCount allocations;
  OXCBORDecoder decoder(bytes, OXCBORMode::keyed);
  EXPECT_TRUE(decoder.decodeObjectForKey("a"));
  EXPECT_TRUE(decoder.decodeObjectForKey("b"));  // fits the small-string buffer
  EXPECT_EQ(allocations.count(), 0U);
}

TEST(CBORDecoder, RefusesEveryRecordThatIsCutOff) {
  for (const OXCBORMode mode : {OXCBORMode::keyed, OXCBORMode::sequential}) {
    OXCBOREncoder encoder(mode);
    for (const auto& [key, object] :
         std::initializer_list<std::pair<std::string_view, OXValueView>>{
             {"name", "some name of more than 24 characters"},
             {"size", OXNumber(std::uint64_t{1} << 40)}}) {
      encoder.encodeObjectForKey(object, key);
      encoder.encodeObject(object);
    }
    for (const auto bytes : {encoder.bytes(), encoder.item()}) {
      const Bytes whole(bytes.begin(), bytes.end());
      EXPECT_EQ(decodeNamed(whole, mode), "some name of more than 24 characters 1099511627776");
      for (std::size_t size = 0; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        EXPECT_EQ(decodeNamed(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)), mode),
                  "null");
      }
    }
  }
}

// For any bytes: after a failure every query returns a misfit, and every other result can be
// encoded and decoded again.
void expectConsistent(const Bytes& bytes) {
  OXCBORDecoder keyed(bytes, OXCBORMode::keyed);
  const bool isMap = !keyed.hasFailed();
  for (const std::string_view key : {"name", "size", "k", ""}) {
    const std::string object = valueText(keyed.decodeObjectForKey(key));
    if (!isMap) {
      ASSERT_EQ(object, misfit);
    }
  }
  OXCBORDecoder sequential(bytes, OXCBORMode::sequential);
  OXCBOREncoder again(OXCBORMode::sequential);
  std::string read;
  while (!sequential.isAtEnd()) {
    const std::optional<OXValue> object = sequential.decodeObject();
    if (sequential.hasFailed()) {
      break;
    }
    read += valueText(object) + "\n";
    again.encodeObject(*object);
  }
  OXCBORDecoder second(again.item(), OXCBORMode::sequential);
  std::string reread;
  while (!second.isAtEnd()) {
    reread += valueText(second.decodeObject()) + "\n";
  }
  ASSERT_EQ(read, reread);
  ASSERT_FALSE(second.hasFailed());
  // Both ways give the same result.
  decodeNamed(bytes, OXCBORMode::keyed);
  decodeNamed(bytes, OXCBORMode::sequential);
}

TEST(CBORDecoder, KeepsItsWordForDamagedRecords) {
  const std::string seeds[] = {
      "a2 646e616d65 6161 6473697a65 05",
      "bf 646e616d65 7f61616162ff 6473697a65 c1fb41d452d9ec200000 616b 9f01a10203ff ff",
      "64646f6373 c1fb41d452d9ec200000 1901f4 19012c 1adeadbeef 07 f5 f4",
      "88 64646f6373 f6 1901f4 19012c 1adeadbeef 3b7fffffffffffffff f5 f4",
      "a3 646e616d65 43616263 6473697a65 1bffffffffffffffff 01 d9d9f7f820",
  };
  std::mt19937 random(20240601);
  for (const std::string& seed : seeds) {
    const Bytes original = fromHex(seed);
    for (int round = 0; round < 20000; ++round) {
      Bytes bytes = original;
      for (auto flips = random() % 4; flips != 0; --flips) {
        bytes[random() % bytes.size()] = static_cast<std::byte>(random());
      }
      if (random() % 4 == 0) {
        bytes.resize(random() % (bytes.size() + 1));
      }
      if (random() % 4 == 0) {
        bytes.insert(bytes.begin() + static_cast<long>(random() % (bytes.size() + 1)),
                     static_cast<std::byte>(random()));
      }
      ASSERT_NO_FATAL_FAILURE(expectConsistent(bytes)) << toHex(bytes);
    }
  }
}

TEST(CBORDecoder, KeepsItsWordForRandomBytes) {
  std::mt19937 random(8949);
  for (int round = 0; round < 100000; ++round) {
    Bytes bytes(random() % 24);
    for (std::byte& byte : bytes) {
      byte = static_cast<std::byte>(random());
    }
    ASSERT_NO_FATAL_FAILURE(expectConsistent(bytes)) << toHex(bytes);
  }
}

}  // namespace

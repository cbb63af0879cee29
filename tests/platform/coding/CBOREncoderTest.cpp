// SPDX-License-Identifier: MIT

#include <OrvexKit/platform/OXCBORCoder.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <new>
#include <span>
#include <string>
#include <string_view>

#include "support/AllocationCount.h"
#include "support/Bytes.h"
#include "support/LongText.h"
#include "support/ValueText.h"

namespace {

using ox::test::Bytes;
using ox::test::fromHex;
using ox::test::stringText;
using ox::test::toHex;
using ox::test::valueText;

std::string compact(std::string_view hex) {
  return toHex(fromHex(hex));
}

OXDate date(double seconds) {
  return OXDate(OXDate::duration(seconds));
}

const double infinity = std::numeric_limits<double>::infinity();
const double notANumber = std::numeric_limits<double>::quiet_NaN();

const std::string letters23(23, 'x');
const std::string letters24(24, 'x');
const std::string letters255(255, 'x');
const std::string letters256(256, 'x');
const std::string letters65535(65535, 'x');
const std::string letters65536(65536, 'x');

std::string hexOf(const std::string& text) {
  return toHex(std::as_bytes(std::span(text)));
}

struct ObjectRow {
  OXValueView object;
  std::string hex;
  std::string decoded;
};

const ObjectRow objectRows[] = {
    {OXNull(), "f6", "null marker"},

    {"", "60", stringText("")},
    {"docs", "64 646f6373", stringText("docs")},
    {"a/b c.txt", "69 612f6220632e747874", stringText("a/b c.txt")},
    {std::string_view("\0", 1), "61 00", stringText(std::string(1, '\0'))},
    {"\xc3\xbc", "62 c3bc", stringText("\xc3\xbc")},
    {"\xe6\xb0\xb4", "63 e6b0b4", stringText("\xe6\xb0\xb4")},
    {"\xf0\x90\x85\x91", "64 f0908591", stringText("\xf0\x90\x85\x91")},
    {letters23, "77" + hexOf(letters23), stringText(letters23)},
    {letters24, "7818" + hexOf(letters24), stringText(letters24)},
    {letters255, "78ff" + hexOf(letters255), stringText(letters255)},
    {letters256, "790100" + hexOf(letters256), stringText(letters256)},
    {letters65535, "79ffff" + hexOf(letters65535), stringText(letters65535)},
    {letters65536, "7a00010000" + hexOf(letters65536), stringText(letters65536)},
    // Not UTF-8: encoded as bytes, which every decoder accepts.
    {"\xff", "41 ff", stringText("\xff")},
    {"caf\xe9", "44 636166e9", stringText("caf\xe9")},
    {"\xed\xa0\x80", "43 eda080", stringText("\xed\xa0\x80")},
    {"\xc0\x80", "42 c080", stringText("\xc0\x80")},

    {OXNumber(std::uint64_t{0}), "00", "unsigned 0"},
    {OXNumber(std::uint64_t{1}), "01", "unsigned 1"},
    {OXNumber(std::uint64_t{10}), "0a", "unsigned 10"},
    {OXNumber(std::uint64_t{23}), "17", "unsigned 23"},
    {OXNumber(std::uint64_t{24}), "1818", "unsigned 24"},
    {OXNumber(std::uint64_t{25}), "1819", "unsigned 25"},
    {OXNumber(std::uint64_t{100}), "1864", "unsigned 100"},
    {OXNumber(std::uint64_t{255}), "18ff", "unsigned 255"},
    {OXNumber(std::uint64_t{256}), "190100", "unsigned 256"},
    {OXNumber(std::uint64_t{500}), "1901f4", "unsigned 500"},
    {OXNumber(std::uint64_t{1000}), "1903e8", "unsigned 1000"},
    {OXNumber(std::uint64_t{65535}), "19ffff", "unsigned 65535"},
    {OXNumber(std::uint64_t{65536}), "1a00010000", "unsigned 65536"},
    {OXNumber(std::uint64_t{1000000}), "1a000f4240", "unsigned 1000000"},
    {OXNumber(std::uint32_t{4294967295}), "1affffffff", "unsigned 4294967295"},
    {OXNumber(std::uint64_t{4294967296}), "1b0000000100000000", "unsigned 4294967296"},
    {OXNumber(std::uint64_t{1000000000000}), "1b000000e8d4a51000", "unsigned 1000000000000"},
    {OXNumber(std::numeric_limits<std::uint64_t>::max()), "1bffffffffffffffff",
     "unsigned 18446744073709551615"},
    {OXNumber(std::int32_t{-1}), "20", "signed -1"},
    {OXNumber(std::int64_t{-10}), "29", "signed -10"},
    {OXNumber(std::int64_t{-24}), "37", "signed -24"},
    {OXNumber(std::int64_t{-25}), "3818", "signed -25"},
    {OXNumber(std::int64_t{-100}), "3863", "signed -100"},
    {OXNumber(std::int64_t{-1000}), "3903e7", "signed -1000"},
    {OXNumber(std::numeric_limits<std::int64_t>::min()), "3b7fffffffffffffff",
     "signed -9223372036854775808"},
    // The encoding of an integer depends only on its value.
    {OXNumber(std::int64_t{0}), "00", "unsigned 0"},
    {OXNumber(std::int64_t{500}), "1901f4", "unsigned 500"},
    {OXNumber(std::numeric_limits<std::int64_t>::max()), "1b7fffffffffffffff",
     "unsigned 9223372036854775807"},

    {OXNumber(false), "f4", "boolean 0"},
    {OXNumber(true), "f5", "boolean 1"},

    {OXNumber(0.0), "fb0000000000000000", "double 0"},
    {OXNumber(-0.0), "fb8000000000000000", "double -0"},
    {OXNumber(1.0), "fb3ff0000000000000", "double 1"},
    {OXNumber(1.1), "fb3ff199999999999a", "double 1.1000000000000001"},
    {OXNumber(-4.1), "fbc010666666666666", "double -4.0999999999999996"},
    {OXNumber(1.0e300), "fb7e37e43c8800759c", "double 1.0000000000000001e+300"},
    {OXNumber(5e-324), "fb0000000000000001", "double 4.9406564584124654e-324"},
    {OXNumber(infinity), "fb7ff0000000000000", "double inf"},
    {OXNumber(-infinity), "fbfff0000000000000", "double -inf"},
    {OXNumber(notANumber), "fb7ff8000000000000", "double nan"},

    {date(0), "c1 fb0000000000000000", "date 0"},
    {date(0.5), "c1 fb3fe0000000000000", "date 0.5"},
    {date(1363896240), "c1 fb41d452d9ec000000", "date 1363896240"},
    {date(1363896240.5), "c1 fb41d452d9ec200000", "date 1363896240.5"},
    {date(-1), "c1 fbbff0000000000000", "date -1"},
    {date(infinity), "c1 fb7ff0000000000000", "date inf"},
    {date(-infinity), "c1 fbfff0000000000000", "date -inf"},
    {date(notANumber), "c1 fb7ff8000000000000", "date nan"},
};

TEST(CBOREncoder, WritesEveryKindOfObject) {
  for (const ObjectRow& row : objectRows) {
    SCOPED_TRACE(row.decoded.substr(0, 100));
    OXCBOREncoder keyed(OXCBORMode::keyed);
    keyed.encodeObjectForKey(row.object, "k");
    EXPECT_EQ(toHex(keyed.bytes()), compact("a1 616b" + row.hex));
    OXCBOREncoder sequential(OXCBORMode::sequential);
    sequential.encodeObject(row.object);
    EXPECT_EQ(toHex(sequential.bytes()), compact(row.hex));
    EXPECT_EQ(toHex(sequential.item()), compact("81" + row.hex));
  }
}

TEST(CBOREncoder, WritesWhatTheDecoderReads) {
  for (const ObjectRow& row : objectRows) {
    SCOPED_TRACE(row.decoded.substr(0, 100));
    OXCBOREncoder keyed(OXCBORMode::keyed);
    keyed.encodeObjectForKey(row.object, "k");
    OXCBORDecoder keyedDecoder(keyed.bytes(), OXCBORMode::keyed);
    EXPECT_EQ(valueText(keyedDecoder.decodeObjectForKey("k")), row.decoded);
    EXPECT_FALSE(keyedDecoder.hasFailed());
    OXCBOREncoder sequential(OXCBORMode::sequential);
    sequential.encodeObject(row.object);
    for (const auto bytes : {sequential.bytes(), sequential.item()}) {
      OXCBORDecoder decoder(bytes, OXCBORMode::sequential);
      EXPECT_EQ(valueText(decoder.decodeObject()), row.decoded);
      EXPECT_TRUE(decoder.isAtEnd());
      EXPECT_FALSE(decoder.hasFailed());
    }
  }
}

TEST(CBOREncoder, WritesAKeyedRecordAsAMap) {
  OXCBOREncoder encoder(OXCBORMode::keyed);
  EXPECT_TRUE(encoder.allowsKeyedCoding());
  EXPECT_EQ(toHex(encoder.bytes()), "a0");
  EXPECT_EQ(toHex(encoder.item()), "a0");
  encoder.encodeObjectForKey("docs", "path");
  EXPECT_EQ(toHex(encoder.bytes()), compact("a1 64 70617468 64 646f6373"));
  encoder.encodeObjectForKey("docs", "path");
  encoder.encodeObjectForKey(OXNumber(true), "isFolder");
  const std::string whole = compact("a2 64 70617468 64 646f6373 68 6973466f6c646572 f5");
  EXPECT_EQ(toHex(encoder.bytes()), whole);
  EXPECT_EQ(toHex(encoder.item()), whole);
}

TEST(CBOREncoder, WritesASequentialRecordAsARun) {
  OXCBOREncoder encoder(OXCBORMode::sequential);
  EXPECT_FALSE(encoder.allowsKeyedCoding());
  EXPECT_EQ(toHex(encoder.bytes()), "");
  EXPECT_EQ(toHex(encoder.item()), "80");
  encoder.encodeObject("docs");
  encoder.encodeObject(OXNumber(true));
  EXPECT_EQ(toHex(encoder.bytes()), compact("64 646f6373 f5"));
  EXPECT_EQ(toHex(encoder.item()), compact("82 64 646f6373 f5"));
  // Queries do not change the state.
  EXPECT_EQ(toHex(encoder.bytes()), compact("64 646f6373 f5"));
}

TEST(CBOREncoder, WritesKeysAsItWritesStrings) {
  const std::pair<std::string, std::string> rows[] = {
      {"", "a1 60 00"},
      {"\xc3\xbc", "a1 62 c3bc 00"},
      {"\xff", "a1 41 ff 00"},
      {letters24, "a1 7818" + hexOf(letters24) + "00"},
  };
  for (const auto& [key, hex] : rows) {
    SCOPED_TRACE(testing::PrintToString(key));
    OXCBOREncoder encoder(OXCBORMode::keyed);
    encoder.encodeObjectForKey(OXNumber(std::uint64_t{0}), key);
    EXPECT_EQ(toHex(encoder.bytes()), compact(hex));
    OXCBORDecoder decoder(encoder.bytes(), OXCBORMode::keyed);
    EXPECT_EQ(valueText(decoder.decodeObjectForKey(key)), "unsigned 0");
  }
}

TEST(CBOREncoder, WritesAnyNumberOfObjects) {
  struct Row {
    int count;
    std::string mapHead;
    std::string arrayHead;
  };
  const Row rows[] = {{23, "b7", "97"},
                      {24, "b818", "9818"},
                      {255, "b8ff", "98ff"},
                      {256, "b90100", "990100"},
                      {65536, "ba00010000", "9a00010000"}};
  for (const auto& [count, mapHead, arrayHead] : rows) {
    SCOPED_TRACE(count);
    OXCBOREncoder keyed(OXCBORMode::keyed);
    OXCBOREncoder sequential(OXCBORMode::sequential);
    for (int i = 0; i < count; ++i) {
      keyed.encodeObjectForKey(OXNumber(std::int64_t{i}), std::to_string(i));
      sequential.encodeObject(OXNumber(std::int64_t{i}));
    }
    EXPECT_EQ(toHex(keyed.bytes()).substr(0, mapHead.size()), mapHead);
    EXPECT_EQ(toHex(sequential.item()).substr(0, arrayHead.size()), arrayHead);
    OXCBORDecoder keyedDecoder(keyed.item(), OXCBORMode::keyed);
    OXCBORDecoder decoder(sequential.item(), OXCBORMode::sequential);
    for (int i = 0; i < count; ++i) {
      ASSERT_EQ(valueText(decoder.decodeObject()), "unsigned " + std::to_string(i));
    }
    for (int i = 0; i < count; i += 1 + count / 100) {
      ASSERT_EQ(valueText(keyedDecoder.decodeObjectForKey(std::to_string(i))),
                "unsigned " + std::to_string(i));
    }
    EXPECT_TRUE(decoder.isAtEnd());
    EXPECT_FALSE(decoder.hasFailed());
    EXPECT_FALSE(keyedDecoder.hasFailed());
  }
}

// Both requests take the record, however often, and also one without objects.
TEST(CBOREncoder, StartsAnewAfterTheRecordWasTaken) {
  struct Row {
    OXCBORMode mode;
    std::span<const std::byte> (OXCBOREncoder::*take)();
    std::string head, firstKey, secondKey;
  };
  const Row rows[] = {{OXCBORMode::keyed, &OXCBOREncoder::bytes, "a2", "616b", "616c"},
                      {OXCBORMode::keyed, &OXCBOREncoder::item, "a2", "616b", "616c"},
                      {OXCBORMode::sequential, &OXCBOREncoder::bytes, "", "", ""},
                      {OXCBORMode::sequential, &OXCBOREncoder::item, "82", "", ""}};
  for (const auto& [mode, take, head, firstKey, secondKey] : rows) {
    OXCBOREncoder encoder(mode);
    (encoder.*take)();
    for (const std::string text : {"a", "b", "c"}) {
      for (const char* key : {"k", "l"}) {
        encoder.encodeObjectForKey(text, key);
        encoder.encodeObject(text);
      }
      const std::string object = "61" + hexOf(text);
      std::string whole = head;
      whole += firstKey + object;
      whole += secondKey + object;
      EXPECT_EQ(toHex((encoder.*take)()), whole);
      EXPECT_EQ(toHex((encoder.*take)()), whole);
    }
  }
}

TEST(CBOREncoder, StartsAnewAfterReset) {
  for (const OXCBORMode mode : {OXCBORMode::keyed, OXCBORMode::sequential}) {
    OXCBOREncoder encoder(mode);
    encoder.encodeObjectForKey(letters65536, "long");
    encoder.encodeObject(letters65536);
    encoder.reset();
    EXPECT_EQ(toHex(encoder.item()), mode == OXCBORMode::keyed ? "a0" : "80");
    encoder.encodeObjectForKey("docs", "path");
    encoder.encodeObject("docs");
    EXPECT_EQ(toHex(encoder.item()), mode == OXCBORMode::keyed ? "a16470617468"
                                                                 "64646f6373"
                                                               : "8164646f6373");
  }
}

TEST(CBOREncoder, TakesNoMemoryForTheSecondRecord) {
  for (const OXCBORMode mode : {OXCBORMode::keyed, OXCBORMode::sequential}) {
    OXCBOREncoder encoder(mode);
    const auto encodeRecord = [&] {
      encoder.reset();
      for (const ObjectRow& row : objectRows) {
        encoder.encodeObjectForKey(row.object, "key");
        encoder.encodeObject(row.object);
      }
      return encoder.item().size();
    };
    const ox::test::AllocationCount first;
    const std::size_t size = encodeRecord();
    EXPECT_GT(first.count(), 0U);
    const ox::test::AllocationCount second;
    EXPECT_EQ(encodeRecord(), size);
    EXPECT_EQ(second.count(), 0U);
  }
}

TEST(CBOREncoder, KeepsWhatItHasWhenMemoryRunsOut) {
  for (const bool goesOn : {false, true}) {
    OXCBOREncoder encoder(OXCBORMode::sequential);
    encoder.encodeObject("docs");
    {
      const ox::test::AllocationFailure failure;
      EXPECT_THROW(encoder.encodeObject(letters65536), std::bad_alloc);
    }
    if (goesOn) {
      encoder.encodeObject(letters24);
    }
    EXPECT_EQ(toHex(encoder.item()),
              compact(goesOn ? "82 64 646f6373 7818" + hexOf(letters24) : "81 64 646f6373"));
  }
}

TEST(CBOREncoder, IgnoresTheOtherModeAndGivesNoObjects) {
  OXCBOREncoder keyed(OXCBORMode::keyed);
  keyed.encodeObject("docs");
  EXPECT_EQ(toHex(keyed.bytes()), "a0");
  OXCBOREncoder sequential(OXCBORMode::sequential);
  sequential.encodeObjectForKey("docs", "path");
  EXPECT_EQ(toHex(sequential.bytes()), "");
  keyed.encodeObjectForKey("docs", "path");
  sequential.encodeObject("docs");
  EXPECT_EQ(valueText(keyed.decodeObjectForKey("path")), "none");
  EXPECT_EQ(valueText(sequential.decodeObject()), "none");
}

using LongString = ox::test::LongText;

// The sum of the sizes of a key and a string overflows on 32 bits.
TEST_F(LongString, IsTooMuchForTheMemory) {
  const std::string_view text = endingIn("");
  OXCBOREncoder keyed(OXCBORMode::keyed);
  EXPECT_THROW(keyed.encodeObjectForKey(text, text), std::bad_alloc);
  EXPECT_THROW(keyed.encodeObjectForKey("docs", text), std::bad_alloc);
  EXPECT_EQ(toHex(keyed.bytes()), "a0");
}

}  // namespace

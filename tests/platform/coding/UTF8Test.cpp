// SPDX-License-Identifier: MIT

#include "platform/coding/UTF8.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

struct Row {
  std::string bytes;
  bool valid;
};

const Row rows[] = {
    {"", true},
    {"a", true},
    {std::string("\0", 1), true},
    {"plain text, longer than two words", true},
    {"\x7f", true},
    {"\xc2\x80", true},          // U+0080, the first of two bytes
    {"\xdf\xbf", true},          // U+07FF, the last
    {"\xe0\xa0\x80", true},      // U+0800
    {"\xed\x9f\xbf", true},      // U+D7FF
    {"\xee\x80\x80", true},      // U+E000
    {"\xef\xbf\xbf", true},      // U+FFFF
    {"\xf0\x90\x80\x80", true},  // U+10000
    {"\xf4\x8f\xbf\xbf", true},  // U+10FFFF
    {"8 ascii \xc3\xa4 and 8 ascii", true},
    {"\x80", false},  // a continuation alone
    {"\xbf", false},
    {"\xc0\x80", false},  // overlong forms
    {"\xc1\xbf", false},
    {"\xe0\x9f\xbf", false},
    {"\xf0\x8f\xbf\xbf", false},
    {"\xed\xa0\x80", false},  // surrogates
    {"\xed\xbf\xbf", false},
    {"\xf4\x90\x80\x80", false},  // U+110000
    {"\xf5\x80\x80\x80", false},
    {"\xfe", false},
    {"\xff", false},
    {"\xc2", false},  // truncated
    {"\xe2\x82", false},
    {"\xf0\x9f\x98", false},
    {"\xc3\xa4\xf0\x9f\x98", false},
    {"\xc2\x41", false},  // not a continuation byte
    {"\xe2\x82\x41", false},
    {"\xe2\x41\xac", false},
    {"\xf0\x9f\x98\x41", false},
    {"\xf0\x9f\xc0\x80", false},
    {"8 ascii \xff", false},
    {"16 ascii bytes, \xe4", false},
};

// Whether `bytes` are UTF-8, as their copy says, which ends where it should.
bool isValid(const std::string& bytes) {
  std::string copied(bytes.size() + 1, '~');
  const bool valid = ox::utf8::copy(copied.data(), bytes);
  EXPECT_EQ(copied, bytes + '~');
  return valid;
}

TEST(UTF8, TellsTextFromOtherBytes) {
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.bytes));
    EXPECT_EQ(isValid(row.bytes), row.valid);
  }
}

struct CutRow {
  std::string text;
  std::size_t length;
  std::string start;
};

const CutRow cutRows[] = {
    {"photos", 9, "photos"},
    {"photos", 6, "photos"},
    {"photos", 2, "ph"},
    {"photos", 0, ""},
    {"", 0, ""},
    {"a\xc3\xa4", 3, "a\xc3\xa4"},
    {"a\xc3\xa4", 2, "a"},
    {"a\xc3\xa4z", 3, "a\xc3\xa4"},
    {"a\xe2\x82\xac", 3, "a"},
    {"a\xe2\x82\xac", 2, "a"},
    {"a\xf0\x9f\x93\xa6", 4, "a"},
    {"a\xf0\x9f\x93\xa6", 2, "a"},
    {"a\xf0\x9f\x93\xa6z", 5, "a\xf0\x9f\x93\xa6"},
    // Not text: there is no character to keep whole.
    {"a\x80\x80\x80\x80\x80", 5, "a\x80\x80\x80\x80"},
    {"a\xf0\x80\x80\x80\x80", 5, "a\xf0\x80\x80\x80"},
    {"\x80\x80\x80", 2, "\x80\x80"},
    {"\xc3\xa4", 1, "\xc3"},
};

TEST(UTF8, CopiesNothingFromNowhere) {
  EXPECT_TRUE(ox::utf8::copy(nullptr, std::string_view()));
}

TEST(UTF8, IsCutBetweenCharacters) {
  for (const CutRow& row : cutRows) {
    SCOPED_TRACE(testing::PrintToString(row.text) + ", " + std::to_string(row.length));
    EXPECT_EQ(ox::utf8::cut(row.text, row.length), row.start);
  }
}

TEST(UTF8, FindsABadByteAnywhere) {
  for (std::size_t length = 1; length <= 100; ++length) {
    for (std::size_t i = 0; i < length; ++i) {
      std::string text(length, 'a');
      EXPECT_TRUE(isValid(text));
      text[i] = '\xff';
      EXPECT_FALSE(isValid(text)) << i << " of " << length;
    }
  }
}

// Every code point, compared with a direct calculation of the encoding.
TEST(UTF8, TakesEveryCharacter) {
  const auto byte = [](unsigned value) { return static_cast<char>(value); };
  for (unsigned c = 0; c <= 0x110000; ++c) {
    std::string text;
    if (c < 0x80) {
      text = {byte(c)};
    } else if (c < 0x800) {
      text = {byte(0xC0 | c >> 6), byte(0x80 | (c & 0x3F))};
    } else if (c < 0x10000) {
      text = {byte(0xE0 | c >> 12), byte(0x80 | (c >> 6 & 0x3F)), byte(0x80 | (c & 0x3F))};
    } else {
      text = {byte(0xF0 | c >> 18), byte(0x80 | (c >> 12 & 0x3F)), byte(0x80 | (c >> 6 & 0x3F)),
              byte(0x80 | (c & 0x3F))};
    }
    const bool isSurrogate = c >= 0xD800 && c <= 0xDFFF;
    ASSERT_EQ(isValid(text), !isSurrogate && c <= 0x10FFFF) << std::hex << c;
  }
}

}  // namespace

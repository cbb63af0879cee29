// SPDX-License-Identifier: MIT

// The path operations, compared with a second implementation.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/files/Path.h"
#include "support/ManyStrings.h"
#include "support/PlainPath.h"

namespace {

using namespace ox;

void expectSameParts(const std::string& text) {
  EXPECT_EQ(path::lastComponent(text), test::plain::lastComponent(text)) << "of " << text;
  EXPECT_EQ(path::extension(text), test::plain::extension(text)) << "of " << text;
  EXPECT_EQ(path::deletingExtension(text), test::plain::deletingExtension(text)) << "of " << text;
  EXPECT_EQ(path::deletingLastComponent(text), test::plain::deletingLastComponent(text))
      << "of " << text;
  const path::ExtensionSplit split = path::splitExtension(text);
  EXPECT_EQ(split.extension, path::extension(text)) << "of " << text;
  EXPECT_EQ(split.rest, path::deletingExtension(text)) << "of " << text;
}

TEST(PathAgainstPlainStatement, TakesEveryShortStringApart) {
  test::forEveryString(test::letters(), test::mostLetters, expectSameParts);
}

TEST(PathAgainstPlainStatement, TakesRandomStringsApart) {
  const test::Alphabet alphabet{"/", "/",    ".",        ".", "a",  "tar",
                                "Z", "\xff", "\xc3\xa4", " ", "\n", std::string(1, '\0')};
  test::forRandomStrings(alphabet, 16, 1, expectSameParts);
}

TEST(PathAgainstPlainStatement, JoinsEveryPairOfShortStrings) {
  std::vector<std::string> texts;
  test::forEveryString({"a", ".", "/"}, 4, [&](const std::string& text) { texts.push_back(text); });
  for (const std::string& text : texts) {
    for (const std::string& tail : texts) {
      SCOPED_TRACE(testing::PrintToString(text) + " + " + testing::PrintToString(tail));
      const std::string joined = test::plain::appendingComponent(text, tail);
      ASSERT_EQ(path::appendingComponent(text, tail), joined);
    }
  }
}

}  // namespace

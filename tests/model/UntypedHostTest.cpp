// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <memory>

#include "OrvexKit/OXArchiveSettings.h"
#include "OrvexKit/OXFormatInfo.h"
#include "model/UntypedHost.h"

namespace {

using ox::test::untypedFormat;

TEST(UntypedHost, ComparesItsDescriptorsByIdentityAlone) {
  const auto format = untypedFormat();
  const auto twin = untypedFormat();
  const auto plain = std::make_shared<OXFormatInfo>();
  plain->setName("Zip");
  plain->setFormatId(1);
  const auto object = ox::test::untypedObject();
  const auto hidden = ox::test::untypedPrivateFormat();
  const OXObject typedObject;

  EXPECT_TRUE(format->isEqual(format.get()));
  EXPECT_TRUE(hidden->isEqual(hidden.get()));
  EXPECT_FALSE(format->isEqual(nullptr));
  const OXFormatInfo* const formats[] = {format.get(), plain.get(), hidden.get()};
  const OXObject* const others[] = {twin.get(), object.get(), &typedObject};
  for (const OXFormatInfo* one : formats) {
    for (const OXObject* other : others) {
      EXPECT_FALSE(one->isEqual(other));
    }
    for (const OXFormatInfo* other : formats) {
      EXPECT_EQ(one->isEqual(other), one == other);
    }
  }
}

TEST(UntypedHost, FindsAnObjectByEitherOfItsRoots) {
  const auto format = ox::test::untypedFormatWithTwoRoots();
  EXPECT_TRUE(format->isEqual(ox::test::otherRootOf(*format)));
  EXPECT_FALSE(untypedFormat()->isEqual(ox::test::otherRootOf(*format)));
}

TEST(UntypedHost, CanUseAllElse) {
  EXPECT_EQ(ox::test::faultOfTheHeaders(), "");
}

}  // namespace

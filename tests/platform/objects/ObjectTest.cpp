// SPDX-License-Identifier: MIT

#include <OrvexKit/OrvexKit.h>
#include <gmock/gmock.h>

#include <type_traits>

namespace {

using testing::StartsWith;

static_assert(sizeof(OXUnsignedWord) == sizeof(void*));
static_assert(std::is_unsigned_v<OXUnsignedWord>);
static_assert(std::has_virtual_destructor_v<OXObject>);
static_assert(!std::is_copy_constructible_v<OXObject> && !std::is_copy_assignable_v<OXObject>);
static_assert(!std::is_move_constructible_v<OXObject> && !std::is_move_assignable_v<OXObject>);

TEST(Object, IsEqualToItselfAlone) {
  const OXObject one;
  const OXObject other;
  EXPECT_TRUE(one.isEqual(&one));
  EXPECT_FALSE(one.isEqual(&other));
  EXPECT_FALSE(one.isEqual(nullptr));
}

TEST(Object, HashesByIdentity) {
  const OXObject one;
  const OXObject other;
  EXPECT_EQ(one.hash(), one.hash());
  EXPECT_NE(one.hash(), other.hash());
}

TEST(Object, DescribesItself) {
  const OXObject one;
  const OXObject other;
  ASSERT_TRUE(one.description());
  EXPECT_THAT(*one.description(), StartsWith("<OXObject: 0x"));
  EXPECT_EQ(one.description()->back(), '>');
  EXPECT_NE(one.description(), other.description());
}

}  // namespace

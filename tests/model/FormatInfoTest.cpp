// SPDX-License-Identifier: MIT

#include "OrvexKit/OXFormatInfo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "OrvexKit/OXArchiveSettings.h"
#include "OrvexKit/OXArchivedFile.h"
#include "OrvexKit/OXFileUtil.h"

namespace {

using Strings = OXFormatInfo::Strings;
using Objects = OXFormatInfo::Objects;
using Bytes = OXFormatInfo::Bytes;

static_assert(sizeof(OXFormatInfo) == (sizeof(void*) == 8 ? 112 : 72));
static_assert(!std::is_copy_constructible_v<OXFormatInfo>);
static_assert(std::is_same_v<decltype(OXFormatInfo().formatId()), std::uintptr_t>);

TEST(FormatInfo, StartsEmpty) {
  const OXFormatInfo format;
  EXPECT_EQ(format.formatId(), 0U);
  EXPECT_EQ(format.name(), std::nullopt);
  EXPECT_EQ(format.extensions(), nullptr);
  EXPECT_FALSE(format.isCreationSupported());
  EXPECT_FALSE(format.isSplittingSupported());
  EXPECT_EQ(format.compressionLevels(), nullptr);
  EXPECT_EQ(format.maxSupportedVersion(), 0.0);
  EXPECT_EQ(format.signature(), nullptr);
  EXPECT_EQ(format.encryptionMethods(), nullptr);
}

TEST(FormatInfo, KeepsWhatIsSet) {
  OXFormatInfo format;
  const auto extensions = std::make_shared<Strings>(Strings{"zip", "jar"});
  const auto levels = std::make_shared<Objects>(Objects{1, std::string("best")});
  const auto signature = std::make_shared<Bytes>(Bytes{'P', 'K', 3, 4});
  const auto methods = std::make_shared<Objects>();
  format.setFormatId(std::numeric_limits<OXUnsignedWord>::max());
  format.setName("Zip");
  format.setExtensions(extensions);
  format.setIsCreationSupported(true);
  format.setCompressionLevels(levels);
  format.setMaxSupportedVersion(6.3);
  format.setSignature(signature);
  format.setEncryptionMethods(methods);

  EXPECT_EQ(format.formatId(), std::numeric_limits<OXUnsignedWord>::max());
  EXPECT_EQ(format.name(), "Zip");
  EXPECT_EQ(format.extensions(), extensions);
  EXPECT_TRUE(format.isCreationSupported());
  EXPECT_FALSE(format.isSplittingSupported());
  EXPECT_EQ(format.compressionLevels(), levels);
  EXPECT_EQ(format.maxSupportedVersion(), 6.3);
  EXPECT_EQ(format.signature(), signature);
  EXPECT_EQ(format.encryptionMethods(), methods);

  format.setIsSplittingSupported(true);
  format.setIsCreationSupported(false);
  EXPECT_TRUE(format.isSplittingSupported());
  EXPECT_FALSE(format.isCreationSupported());

  format.setName(std::nullopt);
  format.setExtensions(nullptr);
  format.setCompressionLevels(nullptr);
  format.setSignature(nullptr);
  format.setEncryptionMethods(nullptr);
  EXPECT_EQ(format.name(), std::nullopt);
  EXPECT_EQ(format.extensions(), nullptr);
  EXPECT_EQ(format.compressionLevels(), nullptr);
  EXPECT_EQ(format.signature(), nullptr);
  EXPECT_EQ(format.encryptionMethods(), nullptr);
}

TEST(FormatInfo, RetainsListsWithoutCopyingThem) {
  const auto extensions = std::make_shared<Strings>(Strings{"zip"});
  auto format = std::make_unique<OXFormatInfo>();
  format->setExtensions(extensions);
  EXPECT_FALSE(format->supportsExtension("jar"));
  extensions->push_back("jar");
  EXPECT_TRUE(format->supportsExtension("jar"));
  EXPECT_EQ(format->extensions()->size(), 2U);
}

TEST(FormatInfo, ReleasesItsFields) {
  const auto strings = std::make_shared<const Strings>();
  const auto objects = std::make_shared<const Objects>();
  const auto bytes = std::make_shared<const Bytes>();
  auto format = std::make_unique<OXFormatInfo>();
  format->setExtensions(strings);
  format->setCompressionLevels(objects);
  format->setEncryptionMethods(objects);
  format->setSignature(bytes);
  EXPECT_EQ(strings.use_count(), 2);
  EXPECT_EQ(objects.use_count(), 3);
  EXPECT_EQ(bytes.use_count(), 2);
  format->setCompressionLevels(nullptr);
  EXPECT_EQ(objects.use_count(), 2);
  format.reset();
  EXPECT_EQ(strings.use_count(), 1);
  EXPECT_EQ(objects.use_count(), 1);
  EXPECT_EQ(bytes.use_count(), 1);
}

TEST(FormatInfo, DescribesItselfByItsName) {
  OXFormatInfo format;
  EXPECT_EQ(format.description(), "");
  format.setName("Zip");
  EXPECT_EQ(format.description(), "Zip");
  format.setName("");
  EXPECT_EQ(format.description(), "");
}

TEST(FormatInfo, IsConfigurableWhenThereIsAChoice) {
  const auto nothing = std::make_shared<Objects>();
  struct Row {
    std::shared_ptr<const Objects> levels;
    bool splitting;
    std::shared_ptr<const Objects> methods;
    bool configurable;
  };
  const Row rows[] = {
      {nullptr, false, nullptr, false}, {nothing, false, nullptr, true},
      {nullptr, true, nullptr, true},   {nullptr, false, nothing, true},
      {nothing, true, nothing, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    OXFormatInfo format;
    format.setIsCreationSupported(true);
    format.setName("Zip");
    format.setExtensions(std::make_shared<Strings>());
    format.setCompressionLevels(row.levels);
    format.setIsSplittingSupported(row.splitting);
    format.setEncryptionMethods(row.methods);
    EXPECT_EQ(format.isConfigurable(), row.configurable);
  }
}

TEST(FormatInfo, SupportsTheExtensionsInItsList) {
  OXFormatInfo format;
  EXPECT_FALSE(format.supportsExtension("zip"));
  EXPECT_FALSE(format.supportsExtension(std::nullopt));
  format.setExtensions(std::make_shared<Strings>());
  EXPECT_FALSE(format.supportsExtension("zip"));
  format.setExtensions(std::make_shared<Strings>(Strings{"zip", "tar.gz", "\xff"}));
  const std::pair<OXString, bool> rows[] = {
      {"zip", true}, {"ZIP", false}, {"zi", false},    {"zip ", false}, {".zip", false},
      {"", false},   {"gz", false},  {"tar.gz", true}, {"\xff", true},  {std::nullopt, false},
  };
  for (const auto& [extension, supported] : rows) {
    SCOPED_TRACE(testing::PrintToString(extension));
    EXPECT_EQ(format.supportsExtension(extension), supported);
  }
  format.setExtensions(std::make_shared<Strings>(Strings{""}));
  EXPECT_TRUE(format.supportsExtension(""));
}

struct EqualityRow {
  OXString name;
  OXUnsignedWord formatId;
  OXString otherName;
  OXUnsignedWord otherFormatId;
  bool equal;
};

TEST(FormatInfo, IsEqualByNameAndIdentifier) {
  const EqualityRow rows[] = {
      {"Zip", 1, "Zip", 1, true},
      {"Zip", 1, "Zip", 2, false},
      {"Zip", 1, "zip", 1, false},
      {"Zip", 1, "Zip ", 1, false},
      {"Zip", 1, std::nullopt, 1, false},
      {std::nullopt, 1, "Zip", 1, false},
      {std::nullopt, 1, std::nullopt, 1, false},
      {"", 0, "", 0, true},
      {"", 0, std::nullopt, 0, false},
      {std::string("a\0b", 3), 0, std::string("a\0c", 3), 0, false},
      {"Zip", std::numeric_limits<OXUnsignedWord>::max(), "Zip",
       std::numeric_limits<OXUnsignedWord>::max(), true},
      // Every bit of the identifier counts.
      {"Zip", 0, "Zip", OXUnsignedWord{1} << (std::numeric_limits<OXUnsignedWord>::digits - 1),
       false},
      {"Zip", 0, "Zip", OXUnsignedWord{1} << (std::numeric_limits<OXUnsignedWord>::digits / 2),
       false},
  };
  for (const EqualityRow& row : rows) {
    SCOPED_TRACE(&row - rows);
    OXFormatInfo format;
    format.setName(row.name);
    format.setFormatId(row.formatId);
    OXFormatInfo other;
    other.setName(row.otherName);
    other.setFormatId(row.otherFormatId);
    other.setIsCreationSupported(true);  // other properties do not matter
    other.setExtensions(std::make_shared<Strings>());
    const OXObject& object = format;
    EXPECT_EQ(object.isEqual(&other), row.equal);
    EXPECT_TRUE(object.isEqual(&format));
    EXPECT_FALSE(object.isEqual(nullptr));
    EXPECT_NE(format.hash(), other.hash()) << "hashes are by identity, even if equal";
    EXPECT_EQ(format.hash(), format.hash());
  }
}

// Classes that a host may derive, with every kind of inheritance.
class Child : public OXFormatInfo {};
class Sibling : public OXFormatInfo {};
class Grandchild : public Child {};
class Last final : public Grandchild {
 public:
  int more = 0;
};
class Mixin {
 public:
  virtual ~Mixin() = default;
  int weight = 1;
};
class SecondBase : public Mixin, public OXFormatInfo {};
class BelowSecondBase : public SecondBase {};
class Shared : public virtual OXFormatInfo {};
class AlsoShared : public virtual OXFormatInfo {};
class Diamond : public Shared, public AlsoShared {};
template <typename Tag>
class Tagged : public OXFormatInfo {};

template <typename Format>
std::shared_ptr<OXFormatInfo> named() {
  auto format = std::make_shared<Format>();
  format->setName("Zip");
  format->setFormatId(1);
  return format;
}

TEST(FormatInfo, IsEqualOnlyToItsOwnClassAndThoseBelow) {
  const struct {
    const char* name;
    std::shared_ptr<OXFormatInfo> format;
    std::vector<const char*> equals;  // by name
  } rows[] = {
      {"plain",
       named<OXFormatInfo>(),
       {"plain", "child", "sibling", "grandchild", "last", "second base", "below second base",
        "shared", "diamond", "tagged int", "tagged char"}},
      {"child", named<Child>(), {"child", "grandchild", "last"}},
      {"sibling", named<Sibling>(), {"sibling"}},
      {"grandchild", named<Grandchild>(), {"grandchild", "last"}},
      {"last", named<Last>(), {"last"}},
      {"second base", named<SecondBase>(), {"second base", "below second base"}},
      {"below second base", named<BelowSecondBase>(), {"below second base"}},
      {"shared", named<Shared>(), {"shared", "diamond"}},
      {"diamond", named<Diamond>(), {"diamond"}},
      {"tagged int", named<Tagged<int>>(), {"tagged int"}},
      {"tagged char", named<Tagged<char>>(), {"tagged char"}},
  };
  for (const auto& receiver : rows) {
    for (const auto& other : rows) {
      SCOPED_TRACE(std::string(receiver.name) + " and " + other.name);
      const bool expected =
          std::ranges::find(receiver.equals, std::string_view(other.name)) != receiver.equals.end();
      EXPECT_EQ(receiver.format->isEqual(other.format.get()), expected);
      if (&receiver != &other) {
        other.format->setFormatId(2);
        EXPECT_FALSE(receiver.format->isEqual(other.format.get()));
        other.format->setFormatId(1);
      }
    }
    const std::shared_ptr<OXFormatInfo> twin =
        receiver.format == rows[0].format ? named<OXFormatInfo>() : nullptr;
    EXPECT_EQ(receiver.format->isEqual(twin.get()), twin != nullptr);
  }
}

TEST(FormatInfo, IsEqualToATwinOfTheSameDerivedClass) {
  EXPECT_TRUE(named<Child>()->isEqual(named<Child>().get()));
  EXPECT_TRUE(named<Last>()->isEqual(named<Last>().get()));
  EXPECT_TRUE(named<SecondBase>()->isEqual(named<SecondBase>().get()));
  EXPECT_TRUE(named<Diamond>()->isEqual(named<Diamond>().get()));
  EXPECT_FALSE(std::make_shared<Child>()->isEqual(std::make_shared<Child>().get())) << "no names";
}

TEST(FormatInfo, IsNeverEqualToAnotherKindOfObject) {
  const std::shared_ptr<OXFormatInfo> format = named<OXFormatInfo>();
  const OXArchivedFile file;
  const OXArchiveSettings settings;
  const OXObject object;
  EXPECT_FALSE(format->isEqual(&file));
  EXPECT_FALSE(format->isEqual(&settings));
  EXPECT_FALSE(format->isEqual(&object));
  EXPECT_FALSE(object.isEqual(format.get()));
}

// A class with two roots: it is the same descriptor through either.
class TwoRoots : public OXArchiveSettings, public OXFormatInfo {};

TEST(FormatInfo, FindsTheDescriptorInAnObjectWithTwoRoots) {
  TwoRoots two;
  two.setName("Zip");
  two.setFormatId(1);
  const OXObject* const bySettings = static_cast<OXArchiveSettings*>(&two);
  const OXObject* const byFormat = static_cast<OXFormatInfo*>(&two);
  EXPECT_TRUE(two.OXFormatInfo::isEqual(bySettings)) << "the argument is the receiver";
  EXPECT_TRUE(two.OXFormatInfo::isEqual(byFormat));
  EXPECT_TRUE(named<OXFormatInfo>()->isEqual(bySettings));
  EXPECT_TRUE(named<OXFormatInfo>()->isEqual(byFormat));
  EXPECT_FALSE(byFormat->isEqual(named<OXFormatInfo>().get()));
}

// A class that inherits the descriptor privately.
class Hidden : private OXFormatInfo {
 public:
  Hidden() {
    setName("Zip");
    setFormatId(1);
  }
  const OXFormatInfo& format() const { return *this; }
};

TEST(FormatInfo, IsEqualToADescriptorThatAClassKeepsPrivate) {
  const Hidden hidden;
  EXPECT_TRUE(named<OXFormatInfo>()->isEqual(&hidden.format()));
  EXPECT_FALSE(hidden.format().isEqual(named<OXFormatInfo>().get()));
  EXPECT_TRUE(hidden.format().isEqual(&hidden.format()));
}

class HiddenBelow : public Hidden {};
class Protected : protected OXFormatInfo {
 public:
  Protected() {
    setName("Zip");
    setFormatId(1);
  }
  const OXFormatInfo& format() const { return *this; }
};

TEST(FormatInfo, IsEqualToATwinOfAClassThatDoesNotDerivePublicly) {
  const Hidden hidden;
  const Hidden twin;
  const HiddenBelow below;
  const HiddenBelow belowTwin;
  const Protected guarded;
  const Protected guardedTwin;
  EXPECT_TRUE(hidden.format().isEqual(&twin.format()));
  EXPECT_TRUE(below.format().isEqual(&belowTwin.format()));
  EXPECT_TRUE(guarded.format().isEqual(&guardedTwin.format()));
  EXPECT_FALSE(below.format().isEqual(&hidden.format()));
  EXPECT_FALSE(hidden.format().isEqual(&guarded.format()));
}

TEST(ErrorDomain, IsThatOfTheCodecs) {
  EXPECT_EQ(kOXCodecErrorDomain, "OrvexKitCodecError");
}

}  // namespace

// SPDX-License-Identifier: MIT

#include "OrvexKit/OXArchiveSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "support/AllocationCount.h"

namespace {

using AuxSettings = OXArchiveSettings::AuxSettings;
using ox::test::FreedMemoryWatch;

static_assert(sizeof(OXArchiveSettings) == (sizeof(void*) == 8 ? 72 : 48));
static_assert(!std::is_copy_constructible_v<OXArchiveSettings>);
static_assert(std::is_same_v<decltype(OXArchiveSettings().encryptionIndex()), std::uintptr_t>);
static_assert(
    std::is_same_v<decltype(OXArchiveSettings().compressionLevelIndex()), std::uintptr_t>);

constexpr OXUnsignedWord greatestIndex = std::numeric_limits<OXUnsignedWord>::max();

void expectFresh(const OXArchiveSettings& settings) {
  EXPECT_EQ(settings.password(), std::nullopt);
  EXPECT_EQ(settings.encryptionIndex(), 0U);
  EXPECT_EQ(settings.compressionLevelIndex(), 0U);
  EXPECT_EQ(settings.volumeSize(), 0U);
  EXPECT_EQ(settings.auxSettings(), nullptr);
}

TEST(ArchiveSettings, StartsEmpty) {
  expectFresh(OXArchiveSettings());
  expectFresh(*OXArchiveSettings::defaultSettings());
}

TEST(ArchiveSettings, MakesNewDefaultsEachTime) {
  const std::shared_ptr<OXArchiveSettings> first = OXArchiveSettings::defaultSettings();
  first->setVolumeSize(1);
  expectFresh(*OXArchiveSettings::defaultSettings());
}

TEST(ArchiveSettings, KeepsWhatIsSet) {
  const auto aux = std::make_shared<AuxSettings>();
  OXArchiveSettings settings;
  settings.setPassword("secret");
  settings.setEncryptionIndex(greatestIndex);
  settings.setCompressionLevelIndex(7);
  settings.setVolumeSize((std::uint64_t{1} << 32U) + 1);
  settings.setAuxSettings(aux);
  EXPECT_EQ(settings.password(), "secret");
  EXPECT_EQ(settings.encryptionIndex(), greatestIndex);
  EXPECT_EQ(settings.compressionLevelIndex(), 7U);
  EXPECT_EQ(settings.volumeSize(), 4294967297U);
  EXPECT_EQ(settings.auxSettings(), aux);

  settings.setPassword(std::nullopt);
  settings.setAuxSettings(nullptr);
  EXPECT_EQ(settings.password(), std::nullopt);
  EXPECT_EQ(settings.auxSettings(), nullptr);

  settings.setPassword("");
  EXPECT_EQ(settings.password(), "") << "empty, not null";
}

TEST(ArchiveSettings, KeepsItsOwnCopyOfThePassword) {
  std::string password = "secret";
  OXArchiveSettings settings;
  settings.setPassword(password);
  password[0] = 'S';
  EXPECT_EQ(settings.password(), "secret");
  OXString given = settings.password();
  given->clear();
  EXPECT_EQ(settings.password(), "secret");
}

TEST(ArchiveSettings, SharesTheDictionary) {
  const auto aux = std::make_shared<AuxSettings>();
  OXArchiveSettings settings;
  settings.setAuxSettings(aux);
  aux->insert_or_assign("threads", 4);
  EXPECT_EQ(std::any_cast<int>(settings.auxSettings()->at("threads")), 4);
  settings.auxSettings()->insert_or_assign("comment", std::string("text"));
  EXPECT_EQ(aux->size(), 2U);
}

TEST(ArchiveSettings, ReleasesTheDictionary) {
  const auto aux = std::make_shared<AuxSettings>();
  auto settings = std::make_unique<OXArchiveSettings>();
  settings->setAuxSettings(aux);
  const std::shared_ptr<OXArchiveSettings> copy = settings->copyWithZone();
  EXPECT_EQ(aux.use_count(), 3);
  settings.reset();
  EXPECT_EQ(aux.use_count(), 2);
  copy->setAuxSettings(nullptr);
  EXPECT_EQ(aux.use_count(), 1);
}

TEST(ArchiveSettings, CopiesAllButTheDictionary) {
  OXArchiveSettings settings;
  settings.setPassword("secret");
  settings.setEncryptionIndex(1);
  settings.setCompressionLevelIndex(2);
  settings.setVolumeSize((std::uint64_t{1} << 32U) + 1);
  settings.setAuxSettings(std::make_shared<AuxSettings>());

  const std::shared_ptr<OXArchiveSettings> copy = settings.copyWithZone();
  EXPECT_NE(copy.get(), &settings);
  EXPECT_EQ(copy->password(), "secret");
  EXPECT_EQ(copy->encryptionIndex(), 1U);
  EXPECT_EQ(copy->compressionLevelIndex(), 2U);
  EXPECT_EQ(copy->volumeSize(), 4294967297U);
  EXPECT_EQ(copy->auxSettings(), settings.auxSettings());

  copy->setPassword("other");
  copy->setEncryptionIndex(3);
  copy->setCompressionLevelIndex(4);
  copy->setVolumeSize(5);
  copy->auxSettings()->insert_or_assign("solid", true);
  EXPECT_EQ(settings.password(), "secret");
  EXPECT_EQ(settings.encryptionIndex(), 1U);
  EXPECT_EQ(settings.compressionLevelIndex(), 2U);
  EXPECT_EQ(settings.volumeSize(), 4294967297U);
  EXPECT_TRUE(settings.auxSettings()->contains("solid"));
}

TEST(ArchiveSettings, CopiesAFreshObject) {
  expectFresh(*OXArchiveSettings().copyWithZone());
}

TEST(ArchiveSettings, IsEqualToItselfAlone) {
  const std::shared_ptr<OXArchiveSettings> settings = OXArchiveSettings::defaultSettings();
  const std::shared_ptr<OXArchiveSettings> copy = settings->copyWithZone();
  EXPECT_TRUE(settings->isEqual(settings.get()));
  EXPECT_FALSE(settings->isEqual(copy.get()));
  EXPECT_NE(settings->hash(), copy->hash());
}

// Keeps its options elsewhere, and records the calls.
class Derived : public OXArchiveSettings {
 public:
  OXString password() const override { return answer("password", OXString("elsewhere")); }
  OXUnsignedWord encryptionIndex() const noexcept override { return answer("encryptionIndex", 1U); }
  OXUnsignedWord compressionLevelIndex() const noexcept override {
    return answer("compressionLevelIndex", 2U);
  }
  std::uint64_t volumeSize() const noexcept override { return answer("volumeSize", 3U); }
  std::shared_ptr<AuxSettings> auxSettings() const noexcept override {
    return answer("auxSettings", std::make_shared<AuxSettings>());
  }

  template <typename Answer>
  Answer answer(const char* question, Answer answer) const {
    asked.emplace_back(question);
    return answer;
  }

  mutable std::vector<std::string> asked;
};

TEST(ArchiveSettings, CopiesADerivedObjectIntoAPlainOne) {
  const Derived derived;
  const std::shared_ptr<OXArchiveSettings> copy = derived.copyWithZone();
  const OXArchiveSettings& plain = *copy;
  EXPECT_EQ(typeid(plain), typeid(OXArchiveSettings));
  EXPECT_THAT(derived.asked, testing::ElementsAre("password", "compressionLevelIndex",
                                                  "encryptionIndex", "volumeSize", "auxSettings"));
  EXPECT_EQ(copy->password(), "elsewhere");
  EXPECT_EQ(copy->encryptionIndex(), 1U);
  EXPECT_EQ(copy->compressionLevelIndex(), 2U);
  EXPECT_EQ(copy->volumeSize(), 3U);
  EXPECT_NE(copy->auxSettings(), nullptr);

  const std::shared_ptr<OXArchiveSettings> defaults = Derived::defaultSettings();
  const OXArchiveSettings& plainDefaults = *defaults;
  EXPECT_EQ(typeid(plainDefaults), typeid(OXArchiveSettings));
}

// One password in the small-string buffer, and one on the heap.
constexpr std::string_view shortPassword = "swordfish-3141";
constexpr std::string_view longPassword = "correct horse battery staple, and then some more of it";

// The end of the password: clearing a string overwrites only its first byte.
std::string_view end(std::string_view password) {
  return password.substr(password.size() - 5);
}

class ArchiveSettingsPassword : public testing::TestWithParam<std::string_view> {};

INSTANTIATE_TEST_SUITE_P(Lengths, ArchiveSettingsPassword,
                         testing::Values(shortPassword, longPassword),
                         [](const auto& row) { return row.index == 0 ? "Short" : "Long"; });

// Ensures that the tests below can fail.
TEST_P(ArchiveSettingsPassword, IsFoundInMemoryThatNobodyOverwrote) {
  const FreedMemoryWatch watch(end(GetParam()));
  auto text = std::make_unique<std::string>(GetParam());
  EXPECT_EQ(watch.found(), 0U);
  text.reset();
  EXPECT_EQ(watch.found(), 1U);
}

TEST_P(ArchiveSettingsPassword, IsOverwrittenWhenReplaced) {
  OXArchiveSettings settings;
  const FreedMemoryWatch watch(end(GetParam()));
  settings.setPassword(GetParam());
  settings.setPassword("other");
  settings.setPassword(GetParam());
  settings.setPassword(std::nullopt);
  EXPECT_EQ(watch.found(), 0U);
}

TEST_P(ArchiveSettingsPassword, IsOverwrittenWhenTheObjectGoes) {
  const FreedMemoryWatch watch(end(GetParam()));
  auto settings = std::make_unique<OXArchiveSettings>();
  settings->setPassword(GetParam());
  settings.reset();
  EXPECT_EQ(watch.found(), 0U);
}

TEST_P(ArchiveSettingsPassword, IsOverwrittenOnTheWayIntoACopy) {
  OXArchiveSettings settings;
  settings.setPassword(GetParam());
  const FreedMemoryWatch watch(end(GetParam()));
  std::shared_ptr<OXArchiveSettings> copy = settings.copyWithZone();
  copy.reset();
  EXPECT_EQ(watch.found(), 0U);
}

TEST(ArchiveSettings, HandsOutObjectsThatNobodyElseHolds) {
  const std::shared_ptr<OXArchiveSettings> defaults = OXArchiveSettings::defaultSettings();
  const std::shared_ptr<OXArchiveSettings> copy = defaults->copyWithZone();
  EXPECT_EQ(defaults.use_count(), 1);
  EXPECT_EQ(copy.use_count(), 1);
  EXPECT_NE(copy, defaults);
  EXPECT_NE(OXArchiveSettings::defaultSettings(), defaults);
}

// A host's password in memory that contained a longer one before.
class ShortenedPassword : public OXArchiveSettings {
 public:
  explicit ShortenedPassword(std::string_view longer) : longer_(longer) {}
  OXString password() const override {
    std::string text(longer_);
    text.resize(1);
    return text;
  }

 private:
  std::string_view longer_;
};

TEST(ArchiveSettings, OverwritesWhatALongerPasswordLeftBehindInAString) {
  const ShortenedPassword settings(longPassword);
  const FreedMemoryWatch watch(end(longPassword));
  EXPECT_EQ(settings.copyWithZone()->password(), std::string(longPassword.substr(0, 1)));
  EXPECT_EQ(watch.found(), 0U);
}

TEST_P(ArchiveSettingsPassword, IsOverwrittenWhenMemoryRunsOut) {
  OXArchiveSettings settings;
  settings.setPassword(GetParam());
  const FreedMemoryWatch watch(end(GetParam()));
  std::size_t failures = 0;
  for (bool done = false; !done;) {
    const ox::test::AllocationFailure failure(failures);
    try {
      settings.copyWithZone();
      settings.setPassword(GetParam());
      done = true;
    } catch (const std::bad_alloc&) {
      ++failures;
    }
  }
  EXPECT_GE(failures, 5U) << "each step failed once";
  EXPECT_EQ(watch.found(), 0U);
}

TEST_P(ArchiveSettingsPassword, StaysWhenThereIsNoMemoryForAnother) {
  OXArchiveSettings settings;
  settings.setPassword("before");
  {
    const ox::test::AllocationFailure failure;
    EXPECT_THROW(settings.setPassword(GetParam()), std::bad_alloc);
  }
  EXPECT_EQ(settings.password(), "before");
}

}  // namespace

// SPDX-License-Identifier: MIT

// Several threads get and set each atomic property of the records. A getter must return one of the
// values that were set, never a mixture; the thread sanitizer detects data races.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <variant>
#include <vector>

#include "OrvexKit/OXArchiveSettings.h"
#include "OrvexKit/OXArchivedFile.h"
#include "OrvexKit/OXDeltaNode.h"
#include "OrvexKit/OXFormatInfo.h"

namespace {

constexpr int rounds = 5000;

// Two setting threads and two getting threads.
template <typename Value, typename Set, typename Get>
void hammer(const char* property, const std::vector<Value>& values, Set set, Get get) {
  SCOPED_TRACE(property);
  set(values.front());
  std::atomic<int> torn = 0;
  std::vector<std::thread> threads;
  for (std::size_t first = 0; first < 2; ++first) {
    threads.emplace_back([&, first] {
      for (std::size_t i = 0; i < rounds; ++i) {
        set(values[(first + i) % values.size()]);
      }
    });
    threads.emplace_back([&] {
      for (int i = 0; i < rounds; ++i) {
        if (std::ranges::find(values, get()) == values.end()) {
          ++torn;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(torn, 0);
}

struct Flag {
  std::function<void(bool)> set;
  std::function<bool()> get;
};

// Each flag has a thread that sets it and must read its own value back while others set the
// adjacent flags; another thread reads all.
void setFlagsTogether(const std::vector<Flag>& flags) {
  std::atomic<int> lost = 0;
  std::atomic<std::size_t> done = 0;
  std::vector<std::thread> threads;
  threads.reserve(flags.size() + 1);
  for (const Flag& flag : flags) {
    threads.emplace_back([&] {
      for (int i = 0; i < rounds; ++i) {
        const bool value = i % 3 == 0;
        flag.set(value);
        lost += flag.get() == value ? 0 : 1;
      }
      ++done;
    });
  }
  while (done < flags.size()) {
    for (const Flag& flag : flags) {
      static_cast<void>(flag.get());
    }
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(lost, 0);
}

TEST(AtomicProperties, AreFlagsThatDoNotDisturbEachOther) {
  OXArchivedFile file;
  OXFormatInfo format;
  OXDeltaNode node;
  setFlagsTogether(
      {{[&](bool value) { file.setIsFolder(value); }, [&] { return file.isFolder(); }},
       {[&](bool value) { file.setIsEncrypted(value); }, [&] { return file.isEncrypted(); }}});
  setFlagsTogether({{[&](bool value) { format.setIsCreationSupported(value); },
                     [&] { return format.isCreationSupported(); }},
                    {[&](bool value) { format.setIsSplittingSupported(value); },
                     [&] { return format.isSplittingSupported(); }},
                    {[&](bool value) { format.setName(value ? "a" : "b"); },
                     [&] { return format.name() == "a"; }}});
  setFlagsTogether(
      {{[&](bool value) { node.setIsFolder(value); }, [&] { return node.isFolder(); }},
       {[&](bool value) { node.setName(value ? "a" : "b"); }, [&] { return node.name() == "a"; }}});
}

// Values that have no half in common.
constexpr std::uint64_t low = 0x00000000ffffffffU;
constexpr std::uint64_t high = 0xffffffff00000000U;
const std::vector<std::uint64_t> wide{low, high, 0x123456789abcdef0U};
const std::vector<OXUnsignedWord> words{0, std::numeric_limits<OXUnsignedWord>::max(), 7};
// One in the small-string buffer and others on the heap.
const std::vector<OXString> strings{std::nullopt, "short", std::string(40, 'a'),
                                    std::string(400, 'b')};

TEST(AtomicProperties, OfAnArchivedFile) {
  OXArchivedFile file;
  hammer(
      "fileId", words, [&](auto value) { file.setFileId(value); }, [&] { return file.fileId(); });
  hammer(
      "actualSize", wide, [&](auto value) { file.setActualSize(value); },
      [&] { return file.actualSize(); });
  hammer(
      "compressedSize", wide, [&](auto value) { file.setCompressedSize(value); },
      [&] { return file.compressedSize(); });
  hammer(
      "checksum", std::vector<std::uint32_t>{0, 0xffffffffU, 0x0000ffffU},
      [&](auto value) { file.setChecksum(value); }, [&] { return file.checksum(); });
  const OXDate early(OXDate::duration(std::bit_cast<double>(std::uint64_t{0x3ff0000000000000U})));
  const OXDate late(OXDate::duration(std::bit_cast<double>(std::uint64_t{0x41d0000123456789U})));
  hammer(
      "modificationTime", std::vector<std::optional<OXDate>>{std::nullopt, early, late},
      [&](auto value) { file.setModificationTime(value); },
      [&] { return file.modificationTime(); });
}

TEST(AtomicProperties, OfAFormatInfo) {
  OXFormatInfo format;
  using Strings = std::shared_ptr<const OXFormatInfo::Strings>;
  using Objects = std::shared_ptr<const OXFormatInfo::Objects>;
  using Bytes = std::shared_ptr<const OXFormatInfo::Bytes>;
  const std::vector<Strings> lists{nullptr, std::make_shared<OXFormatInfo::Strings>(3, "zip"),
                                   std::make_shared<OXFormatInfo::Strings>()};
  const std::vector<Objects> objects{nullptr, std::make_shared<OXFormatInfo::Objects>(3, 7),
                                     std::make_shared<OXFormatInfo::Objects>()};
  const std::vector<Bytes> bytes{nullptr, std::make_shared<OXFormatInfo::Bytes>(4, 'P'),
                                 std::make_shared<OXFormatInfo::Bytes>()};
  hammer(
      "formatId", words, [&](auto value) { format.setFormatId(value); },
      [&] { return format.formatId(); });
  hammer(
      "name", strings, [&](const auto& value) { format.setName(value); },
      [&] { return format.name(); });
  hammer(
      "extensions", lists, [&](const auto& value) { format.setExtensions(value); },
      [&] { return format.extensions(); });
  hammer(
      "compressionLevels", objects, [&](const auto& value) { format.setCompressionLevels(value); },
      [&] { return format.compressionLevels(); });
  hammer(
      "maxSupportedVersion",
      std::vector<double>{0.0, std::bit_cast<double>(low), std::bit_cast<double>(high >> 12U)},
      [&](double value) { format.setMaxSupportedVersion(value); },
      [&] { return format.maxSupportedVersion(); });
  hammer(
      "signature", bytes, [&](const auto& value) { format.setSignature(value); },
      [&] { return format.signature(); });
  hammer(
      "encryptionMethods", objects, [&](const auto& value) { format.setEncryptionMethods(value); },
      [&] { return format.encryptionMethods(); });
}

// Lists owned only by the descriptor: a list from a getter stays alive when a setter replaces it.
TEST(AtomicProperties, OfAFormatInfoThatAloneHoldsItsLists) {
  OXFormatInfo format;
  OXFormatInfo same;
  same.setName("name that is kept on the heap");
  hammer(
      "all that reads several", std::vector<int>{0, 1, 2},
      [&](int value) {
        const auto size = static_cast<std::size_t>(value);
        format.setName("name that is kept on the heap");
        format.setExtensions(std::make_shared<OXFormatInfo::Strings>(size, "zip"));
        format.setCompressionLevels(std::make_shared<OXFormatInfo::Objects>(size, value));
        format.setSignature(std::make_shared<OXFormatInfo::Bytes>(size));
      },
      [&] {
        static_cast<void>(format.supportsExtension("zip"));
        static_cast<void>(format.description());
        const bool sane = format.isConfigurable() && same.isEqual(&format);
        return sane ? static_cast<int>(format.compressionLevels()->size()) : -1;
      });
}

TEST(AtomicProperties, OfArchiveSettings) {
  OXArchiveSettings settings;
  using Aux = std::shared_ptr<OXArchiveSettings::AuxSettings>;
  const std::vector<Aux> dictionaries{nullptr, std::make_shared<OXArchiveSettings::AuxSettings>(),
                                      std::make_shared<OXArchiveSettings::AuxSettings>()};
  hammer(
      "password", strings, [&](const auto& value) { settings.setPassword(value); },
      [&] { return settings.password(); });
  hammer(
      "encryptionIndex", words, [&](auto value) { settings.setEncryptionIndex(value); },
      [&] { return settings.encryptionIndex(); });
  hammer(
      "compressionLevelIndex", words, [&](auto value) { settings.setCompressionLevelIndex(value); },
      [&] { return settings.compressionLevelIndex(); });
  hammer(
      "volumeSize", wide, [&](auto value) { settings.setVolumeSize(value); },
      [&] { return settings.volumeSize(); });
  hammer(
      "auxSettings", dictionaries, [&](const auto& value) { settings.setAuxSettings(value); },
      [&] { return settings.auxSettings(); });
  hammer(
      "a copy", strings, [&](const auto& value) { settings.setPassword(value); },
      [&] { return settings.copyWithZone()->password(); });
}

TEST(AtomicProperties, OfADeltaNode) {
  OXDeltaNode node;
  hammer(
      "name", strings, [&](const auto& value) { node.setName(value); },
      [&] { return node.name(); });
  hammer(
      "physicalPath", strings, [&](const auto& value) { node.setPhysicalPath(value); },
      [&] { return node.physicalPath(); });
  node.setName("f");
  hammer(
      "the full path", std::vector<OXString>{"/a/f", "/b/f"},
      [&](const OXString& value) { node.setPhysicalPath(value->substr(0, 2)); },
      [&] { return node.fullPathOnDisk(); });
}

// Only one thread at a time uses the path; the other fields are written concurrently.
TEST(AtomicProperties, AreReadWholeByACoder) {
  OXArchivedFile file;
  file.setPath("path");
  class Sizes : public OXCoder {
   public:
    bool allowsKeyedCoding() const override { return true; }
    void encodeObjectForKey(const OXValueView& object, std::string_view key) override {
      if (key == "actualSize") {
        size = std::get<OXNumber>(object).unsigned64Value();
      }
    }
    std::optional<OXValue> decodeObjectForKey(std::string_view /*key*/) override { return {}; }
    void encodeObject(const OXValueView& /*object*/) override {}
    std::optional<OXValue> decodeObject() override { return {}; }

    std::uint64_t size = 0;
  };
  hammer(
      "actualSize", wide, [&](auto value) { file.setActualSize(value); },
      [&] {
        Sizes coder;
        file.encodeWithCoder(coder);
        return coder.size;
      });
}

}  // namespace

// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "OrvexKit/OXArchivedFile.h"
#include "model/RecordingCoder.h"
#include "support/AllocationCount.h"

namespace {

using ox::test::RecordingCoder;
using ox::test::shown;
using testing::ElementsAre;
using Mode = RecordingCoder::Mode;

constexpr Mode bothModes[] = {Mode::keyed, Mode::sequential};
constexpr OXUnsignedWord greatestWord = std::numeric_limits<OXUnsignedWord>::max();
const std::string longDocument = "docs/" + std::string(100, 'x') + ".txt";

// In the order of encoding and decoding.
const std::string keys[] = {"path",     "mtime",  "actualSize", "compSize",
                            "checksum", "fileId", "isFolder",   "isEncrypted"};

OXDate date(double seconds) {
  return OXDate(OXDate::duration(seconds));
}

OXValue number(std::uint64_t value) {
  return OXNumber(value);
}

void fill(OXArchivedFile& file) {
  file.setPath("docs");
  file.setModificationTime(date(1.5));
  file.setActualSize((std::uint64_t{1} << 32U) + 1);
  file.setCompressedSize(std::numeric_limits<std::uint64_t>::max());
  file.setChecksum(0xffffffffU);
  file.setFileId(greatestWord);
  file.setIsFolder(true);
  file.setIsEncrypted(true);
}

// The coded objects that `fill` produces.
std::vector<std::optional<OXValue>> filled() {
  return {std::string("docs"),
          date(1.5),
          number((std::uint64_t{1} << 32U) + 1),
          number(std::numeric_limits<std::uint64_t>::max()),
          OXNumber(std::uint32_t{0xffffffffU}),
          number(greatestWord),
          OXNumber(true),
          OXNumber(true)};
}

// Gives the coder these objects to decode. No object means no key in keyed mode, and a null marker
// in a sequence.
void put(RecordingCoder& coder, const std::vector<std::optional<OXValue>>& objects) {
  for (std::size_t i = 0; i < objects.size(); ++i) {
    if (objects[i]) {
      coder.keyed.insert_or_assign(keys[i], *objects[i]);
    }
    coder.sequence.push_back(objects[i].value_or(OXNull()));
  }
}

void expectFilled(const OXArchivedFile& file) {
  EXPECT_EQ(file.path(), "docs");
  EXPECT_EQ(file.modificationTime(), date(1.5));
  EXPECT_EQ(file.actualSize(), (std::uint64_t{1} << 32U) + 1);
  EXPECT_EQ(file.compressedSize(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(file.checksum(), 0xffffffffU);
  EXPECT_EQ(file.fileId(), greatestWord);
  EXPECT_TRUE(file.isFolder());
  EXPECT_TRUE(file.isEncrypted());
}

void expectFresh(const OXArchivedFile& file) {
  EXPECT_EQ(file.path(), std::nullopt);
  EXPECT_EQ(file.modificationTime(), std::nullopt);
  EXPECT_EQ(file.actualSize(), 0U);
  EXPECT_EQ(file.compressedSize(), 0U);
  EXPECT_EQ(file.checksum(), 0U);
  EXPECT_EQ(file.fileId(), 0U);
  EXPECT_FALSE(file.isFolder());
  EXPECT_FALSE(file.isEncrypted());
}

TEST(ArchivedFileCoding, WritesToAKeyedCoder) {
  OXArchivedFile file;
  fill(file);
  RecordingCoder coder(Mode::keyed);
  file.encodeWithCoder(coder);
  EXPECT_THAT(coder.takeCalls(),
              ElementsAre("keyed?", "write path: string docs", "write mtime: date 1.5",
                          "write actualSize: unsigned 4294967297",
                          "write compSize: unsigned 18446744073709551615",
                          "write checksum: unsigned 4294967295",
                          "write fileId: unsigned " + std::to_string(greatestWord),
                          "write isFolder: boolean true", "write isEncrypted: boolean true"));
}

TEST(ArchivedFileCoding, WritesToASequentialCoder) {
  OXArchivedFile file;
  fill(file);
  RecordingCoder coder(Mode::sequential);
  file.encodeWithCoder(coder);
  EXPECT_THAT(
      coder.takeCalls(),
      ElementsAre("keyed?", "write: string docs", "write: date 1.5", "write: unsigned 4294967297",
                  "write: unsigned 18446744073709551615", "write: unsigned 4294967295",
                  "write: unsigned " + std::to_string(greatestWord), "write: boolean true",
                  "write: boolean true"));
}

TEST(ArchivedFileCoding, SkipsNullsInAKeyedCoder) {
  RecordingCoder coder(Mode::keyed);
  OXArchivedFile().encodeWithCoder(coder);
  EXPECT_THAT(coder.takeCalls(),
              ElementsAre("keyed?", "write actualSize: unsigned 0", "write compSize: unsigned 0",
                          "write checksum: unsigned 0", "write fileId: unsigned 0",
                          "write isFolder: boolean false", "write isEncrypted: boolean false"));
}

TEST(ArchivedFileCoding, MarksNullsInASequentialCoder) {
  RecordingCoder coder(Mode::sequential);
  OXArchivedFile().encodeWithCoder(coder);
  EXPECT_THAT(coder.takeCalls(),
              ElementsAre("keyed?", "write: null marker", "write: null marker", "write: unsigned 0",
                          "write: unsigned 0", "write: unsigned 0", "write: unsigned 0",
                          "write: boolean false", "write: boolean false"));
}

TEST(ArchivedFileCoding, TellsTheTwoFlagsApart) {
  for (const Mode mode : bothModes) {
    for (const bool isFolder : {false, true}) {
      OXArchivedFile file;
      file.setIsFolder(isFolder);
      file.setIsEncrypted(!isFolder);
      RecordingCoder coder(mode);
      file.encodeWithCoder(coder);
      const std::vector<std::string> calls = coder.takeCalls();
      const std::string folderFlag = isFolder ? "true" : "false";
      const std::string encryptedFlag = isFolder ? "false" : "true";
      EXPECT_TRUE(calls.at(calls.size() - 2).ends_with(folderFlag));
      EXPECT_TRUE(calls.back().ends_with(encryptedFlag));
      const auto read = OXArchivedFile::initWithCoder(coder);
      EXPECT_EQ(read->isFolder(), isFolder);
      EXPECT_EQ(read->isEncrypted(), !isFolder);
    }
  }
}

// A path of "/" is stored as "", which is not null.
TEST(ArchivedFileCoding, WritesAnEmptyPathAsAString) {
  OXArchivedFile file;
  file.setPath("/");
  RecordingCoder coder(Mode::keyed);
  file.encodeWithCoder(coder);
  EXPECT_EQ(shown(coder.keyed.at("path")), "string ");
}

TEST(ArchivedFileCoding, ReadsInTheOrderOfWriting) {
  RecordingCoder keyed(Mode::keyed);
  EXPECT_NE(OXArchivedFile::initWithCoder(keyed), nullptr);
  EXPECT_THAT(keyed.takeCalls(),
              ElementsAre("keyed?", "read path", "read mtime", "read actualSize", "read compSize",
                          "read checksum", "read fileId", "read isFolder", "read isEncrypted"));
  RecordingCoder sequential(Mode::sequential);
  EXPECT_NE(OXArchivedFile::initWithCoder(sequential), nullptr);
  EXPECT_THAT(sequential.takeCalls(), ElementsAre("keyed?", "read", "read", "read", "read", "read",
                                                  "read", "read", "read"));
}

TEST(ArchivedFileCoding, ReadsWhatWasWritten) {
  for (const Mode mode : bothModes) {
    SCOPED_TRACE(mode == Mode::keyed ? "keyed" : "sequential");
    RecordingCoder coder(mode);
    OXArchivedFile file;
    fill(file);
    file.encodeWithCoder(coder);
    const auto read = OXArchivedFile::initWithCoder(coder);
    ASSERT_NE(read, nullptr);
    expectFilled(*read);

    RecordingCoder emptyCoder(mode);
    OXArchivedFile().encodeWithCoder(emptyCoder);
    const auto fresh = OXArchivedFile::initWithCoder(emptyCoder);
    ASSERT_NE(fresh, nullptr);
    expectFresh(*fresh);
  }
}

TEST(ArchivedFileCoding, ReadsRecordAfterRecordFromASequence) {
  RecordingCoder coder(Mode::sequential);
  OXArchivedFile file;
  for (std::uint32_t i = 0; i < 5; ++i) {
    file.setChecksum(i);
    file.encodeWithCoder(coder);
  }
  for (std::uint32_t i = 0; i < 5; ++i) {
    EXPECT_EQ(OXArchivedFile::initWithCoder(coder)->checksum(), i);
  }
  EXPECT_EQ(coder.position, coder.sequence.size());
}

TEST(ArchivedFileCoding, DropsThePathsSlashWhenItReads) {
  for (const Mode mode : bothModes) {
    RecordingCoder coder(mode);
    std::vector<std::optional<OXValue>> objects = filled();
    objects[0] = std::string("docs/");
    put(coder, objects);
    const auto file = OXArchivedFile::initWithCoder(coder);
    ASSERT_NE(file, nullptr);
    expectFilled(*file);
  }
}

TEST(ArchivedFileCoding, ReadsAFreshRecordFromNothing) {
  for (const Mode mode : bothModes) {
    RecordingCoder coder(mode);
    const auto file = OXArchivedFile::initWithCoder(coder);
    ASSERT_NE(file, nullptr);
    expectFresh(*file);
  }
}

// Each object in turn is absent (keyed), a null marker (sequential), or beyond the end.
TEST(ArchivedFileCoding, TakesAnAbsentObjectForNull) {
  for (std::size_t absent = 0; absent < std::size(keys); ++absent) {
    SCOPED_TRACE(keys[absent]);
    std::vector<std::optional<OXValue>> objects = filled();
    objects[absent] = std::nullopt;
    for (const Mode mode : bothModes) {
      RecordingCoder coder(mode);
      put(coder, objects);
      const auto file = OXArchivedFile::initWithCoder(coder);
      ASSERT_NE(file, nullptr);
      EXPECT_EQ(file->path(), absent == 0 ? OXString() : "docs");
      EXPECT_EQ(file->modificationTime(), absent == 1 ? std::nullopt : std::optional(date(1.5)));
      EXPECT_EQ(file->actualSize() == 0, absent == 2);
      EXPECT_EQ(file->compressedSize() == 0, absent == 3);
      EXPECT_EQ(file->checksum() == 0, absent == 4);
      EXPECT_EQ(file->fileId() == 0, absent == 5);
      EXPECT_EQ(file->isFolder(), absent != 6);
      EXPECT_EQ(file->isEncrypted(), absent != 7);
    }
    RecordingCoder shortOne(Mode::sequential);
    objects = filled();
    objects.resize(absent);
    put(shortOne, objects);
    const auto file = OXArchivedFile::initWithCoder(shortOne);
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(file->isEncrypted());
    EXPECT_EQ(file->path().has_value(), absent > 0);
    EXPECT_EQ(file->actualSize() != 0, absent > 2);
  }
}

TEST(ArchivedFileCoding, RefusesObjectsOfAKindThatTheFieldCannotTake) {
  const OXValue text = std::string("7");
  const OXValue time = date(7);
  const OXValue seven = number(7);
  for (std::size_t wrong = 0; wrong < std::size(keys); ++wrong) {
    for (const OXValue& object : {text, time, seven, OXValue(OXNull()), OXValue(OXMisfit())}) {
      SCOPED_TRACE(keys[wrong] + ": " + shown(object));
      const std::size_t takenKind = wrong == 0 ? text.index() : wrong == 1 ? time.index() : 3;
      const bool isNull = std::holds_alternative<OXNull>(object);
      std::vector<std::optional<OXValue>> objects = filled();
      objects[wrong] = object;
      for (const Mode mode : bothModes) {
        RecordingCoder coder(mode);
        put(coder, objects);
        const bool isTaken = object.index() == takenKind || (isNull && mode == Mode::sequential);
        EXPECT_EQ(OXArchivedFile::initWithCoder(coder) != nullptr, isTaken);
      }
    }
  }
}

TEST(ArchivedFileCoding, StandsAtTheNextRecordAfterARefusedOne) {
  std::vector<std::optional<OXValue>> refused = filled();
  refused[0] = number(1);
  refused[5] = std::string("id");
  RecordingCoder coder(Mode::sequential);
  put(coder, refused);
  put(coder, filled());
  EXPECT_EQ(OXArchivedFile::initWithCoder(coder), nullptr);
  EXPECT_EQ(coder.position, 8U);
  const auto next = OXArchivedFile::initWithCoder(coder);
  ASSERT_NE(next, nullptr);
  expectFilled(*next);
}

TEST(ArchivedFileCoding, ThrowsTheSettersErrorForAnEmptyPath) {
  for (const Mode mode : bothModes) {
    std::vector<std::optional<OXValue>> objects = filled();
    objects[0] = std::string();
    RecordingCoder coder(mode);
    put(coder, objects);
    EXPECT_THROW(OXArchivedFile::initWithCoder(coder), std::out_of_range);
    EXPECT_EQ(coder.takeCalls().size(), 9U) << "the decoder is at the next record";

    objects[7] = std::string("yes");
    RecordingCoder refused(mode);
    put(refused, objects);
    EXPECT_EQ(OXArchivedFile::initWithCoder(refused), nullptr);
  }
}

// A record of a host's own class, with an additional field.
class Rated : public OXArchivedFile {
 public:
  std::uint32_t rating = 0;

  void encodeWithCoder(OXCoder& coder) const override {
    if (coder.allowsKeyedCoding()) {
      coder.encodeObjectForKey(OXNumber(rating), "rating");
    } else {
      coder.encodeObject(OXNumber(rating));
    }
    OXArchivedFile::encodeWithCoder(coder);
  }
  bool decodeWithCoder(OXCoder& coder) override {
    const std::optional<OXValue> object =
        coder.allowsKeyedCoding() ? coder.decodeObjectForKey("rating") : coder.decodeObject();
    const auto* const number = object ? std::get_if<OXNumber>(&*object) : nullptr;
    rating = number != nullptr ? number->unsigned32Value() : 0;
    return OXArchivedFile::decodeWithCoder(coder);
  }
};

TEST(ArchivedFileCoding, FillsARecordOfADerivedClass) {
  for (const Mode mode : bothModes) {
    RecordingCoder coder(mode);
    Rated written;
    fill(written);
    written.rating = 5;
    written.encodeWithCoder(coder);
    Rated read;
    EXPECT_TRUE(read.decodeWithCoder(coder));
    expectFilled(read);
    EXPECT_EQ(read.rating, 5U);
  }
}

TEST(ArchivedFileCoding, SetsEveryFieldOfARecordOrNone) {
  for (const Mode mode : bothModes) {
    OXArchivedFile file;
    fill(file);
    std::vector<std::optional<OXValue>> objects(8);
    objects[7] = std::string("yes");
    RecordingCoder refused(mode);
    put(refused, objects);
    EXPECT_FALSE(file.decodeWithCoder(refused));
    expectFilled(file);
    objects[0] = std::string();
    objects[7] = std::nullopt;
    RecordingCoder thrown(mode);
    put(thrown, objects);
    EXPECT_THROW(file.decodeWithCoder(thrown), std::out_of_range);
    expectFilled(file);
    RecordingCoder empty(mode);
    put(empty, std::vector<std::optional<OXValue>>(8));
    EXPECT_TRUE(file.decodeWithCoder(empty));
    expectFresh(file);
  }
}

TEST(ArchivedFileCoding, LeavesAloneWhatIsNotItsOwn) {
  RecordingCoder keyed(Mode::keyed);
  put(keyed, filled());
  for (const char* key : {"compressedSize", "modificationTime", "Path", "", "other"}) {
    keyed.keyed.insert_or_assign(key, std::string("stray"));
  }
  const auto file = OXArchivedFile::initWithCoder(keyed);
  ASSERT_NE(file, nullptr);
  expectFilled(*file);

  RecordingCoder sequential(Mode::sequential);
  put(sequential, filled());
  sequential.sequence.emplace_back(std::string("stray"));
  ASSERT_NE(OXArchivedFile::initWithCoder(sequential), nullptr);
  EXPECT_EQ(sequential.position, 8U);
}

// A double as a signed word, clamped to its limits.
OXUnsignedWord word(std::int64_t value) {
  return static_cast<OXUnsignedWord>(
      std::min<std::int64_t>(value, std::numeric_limits<std::intptr_t>::max()));
}

// A number is converted from any boxed kind.
TEST(ArchivedFileCoding, ConvertsNumbers) {
  struct Row {
    OXNumber object;
    std::uint64_t size;
    std::uint32_t checksum;
    OXUnsignedWord fileId;
    bool flag;
  };
  const Row rows[] = {
      {OXNumber(std::int64_t{-1}), ~std::uint64_t{0}, 0xffffffffU, greatestWord, true},
      {OXNumber(std::uint64_t{1} << 32U), std::uint64_t{1} << 32U, 0,
       static_cast<OXUnsignedWord>(std::uint64_t{1} << 32U), true},
      {OXNumber(2.75), 2, 2, 2, true},
      {OXNumber(0.25), 0, 0, 0, true},
      {OXNumber(-1.0), 0, 0, greatestWord, true},
      {OXNumber(1e300), ~std::uint64_t{0}, 0xffffffffU, greatestWord / 2, true},
      {OXNumber(4294967295.0), 0xffffffffU, 0xffffffffU, word(4294967295), true},
      {OXNumber(4294967296.0), std::uint64_t{1} << 32U, 0xffffffffU, word(4294967296), true},
      {OXNumber(4294967303.0), (std::uint64_t{1} << 32U) + 7, 0xffffffffU, word(4294967303), true},
      {OXNumber(std::numeric_limits<double>::quiet_NaN()), 0, 0, 0, true},
      {OXNumber(true), 1, 1, 1, true},
      {OXNumber(false), 0, 0, 0, false},
      {OXNumber(std::int32_t{0}), 0, 0, 0, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(shown(row.object));
    for (const Mode mode : bothModes) {
      RecordingCoder coder(mode);
      put(coder, {std::nullopt, std::nullopt, row.object, row.object, row.object, row.object,
                  row.object, row.object});
      const auto file = OXArchivedFile::initWithCoder(coder);
      ASSERT_NE(file, nullptr);
      EXPECT_EQ(file->actualSize(), row.size);
      EXPECT_EQ(file->compressedSize(), row.size);
      EXPECT_EQ(file->checksum(), row.checksum);
      EXPECT_EQ(file->fileId(), row.fileId);
      EXPECT_EQ(file->isFolder(), row.flag);
      EXPECT_EQ(file->isEncrypted(), row.flag);
    }
  }
}

// Coders that do not allocate, to count the record's own allocations.
class Sink : public OXCoder {
 public:
  explicit Sink(bool keyed) : keyed_(keyed) {}
  bool allowsKeyedCoding() const override { return keyed_; }
  void encodeObjectForKey(const OXValueView& object, std::string_view /*key*/) override {
    encodeObject(object);
  }
  std::optional<OXValue> decodeObjectForKey(std::string_view /*key*/) override {
    return decodeObject();
  }
  void encodeObject(const OXValueView& object) override {
    if (const auto* const text = std::get_if<std::string_view>(&object)) {
      textAt = text->data();
    }
  }
  std::optional<OXValue> decodeObject() override { return std::exchange(next, std::nullopt); }

  const char* textAt = nullptr;
  std::optional<OXValue> next;

 private:
  bool keyed_;
};

TEST(ArchivedFileCoding, WritesWithoutTheHeap) {
  for (const bool keyed : {false, true}) {
    OXArchivedFile file;
    fill(file);
    file.setPath(longDocument);
    Sink coder(keyed);
    const ox::test::AllocationCount allocations;
    file.encodeWithCoder(coder);
    EXPECT_EQ(allocations.count(), 0U);
    EXPECT_EQ(coder.textAt, file.path()->data()) << "the path itself, not a copy";
  }
}

TEST(ArchivedFileCoding, ReadsWithoutCopyingThePath) {
  for (const bool keyed : {false, true}) {
    Sink coder(keyed);
    coder.next = longDocument + "/";
    const void* const bytes = std::get<std::string>(*coder.next).data();
    const ox::test::AllocationCount allocations;
    const auto file = OXArchivedFile::initWithCoder(coder);
    EXPECT_EQ(allocations.count(), 1U) << "the record";
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->path(), longDocument);
    EXPECT_EQ(file->path()->data(), bytes);
  }
}

// A coder's exception reaches the caller of the record.
class Broken : public Sink {
 public:
  using Sink::Sink;
  void encodeObject(const OXValueView& /*object*/) override { throw std::runtime_error("broken"); }
  std::optional<OXValue> decodeObject() override { throw std::runtime_error("broken"); }
};

TEST(ArchivedFileCoding, PassesOnWhatACoderThrows) {
  for (const bool keyed : {false, true}) {
    Broken coder(keyed);
    EXPECT_THROW(OXArchivedFile().encodeWithCoder(coder), std::runtime_error);
    EXPECT_THROW(OXArchivedFile::initWithCoder(coder), std::runtime_error);
  }
}

TEST(ArchivedFileCoding, TravelsByValueUnlessAskedOtherwise) {
  const OXArchivedFile file;
  for (const Mode mode : bothModes) {
    RecordingCoder byValue(mode, /*isByref=*/false);
    EXPECT_EQ(file.replacementObjectForPortCoder(byValue), &file);
    EXPECT_THAT(byValue.takeCalls(), ElementsAre("by reference?"));
    RecordingCoder byReference(mode, /*isByref=*/true);
    EXPECT_EQ(file.replacementObjectForPortCoder(byReference), nullptr);
  }
}

}  // namespace

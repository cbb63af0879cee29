// SPDX-License-Identifier: MIT

// Another CBOR library reads and writes records: Debian's python3-cbor2, which needs the system's
// own Python.

#include <OrvexKit/OXArchivedFile.h>
#include <OrvexKit/platform/OXCBORCoder.h>
#include <OrvexKit/platform/OXCBORSequence.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "model/Records.h"
#include "support/Bytes.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace {

using ox::test::Fields;
using ox::test::makeRecord;
using ox::test::recordText;
using ox::test::toHex;

struct RecordRow {
  Fields fields;
  bool isText = true;  // the path is UTF-8
};

const RecordRow recordRows[] = {
    {.fields = {}},
    {.fields = {.path = "docs",
                .modificationTime = 1363896240.5,
                .actualSize = 500,
                .compressedSize = 300,
                .checksum = 0xDEADBEEF,
                .fileId = 7,
                .isFolder = true,
                .isEncrypted = true}},
    {.fields = {.path = "whole second", .modificationTime = 1363896240}},
    {.fields = {.path = "long ago", .modificationTime = -86400.25}},
    {.fields = {.path = std::nullopt, .modificationTime = 0}},
    {.fields = {.path = "\xc3\xa4/\xe6\xb0\xb4/\xf0\x9f\x98\x80"}},
    {.fields = {.path = "latin 1: \xe4"}, .isText = false},
    {.fields = {.path = "\xff\xfe\xc0\x80\xed\xa0\x80"}, .isText = false},
    {.fields = {.path = std::string("a\0b", 3)}},
    {.fields = {.path = std::string(70000, 'x')}},
    {.fields = {.path = "greatest",
                .actualSize = std::numeric_limits<std::uint64_t>::max(),
                .compressedSize = std::numeric_limits<std::uint64_t>::max(),
                .checksum = std::numeric_limits<std::uint32_t>::max(),
                .fileId = std::numeric_limits<OXUnsignedWord>::max()}},
    {.fields = {.path = "all lengths of integers",
                .actualSize = 23,
                .compressedSize = 24,
                .checksum = 65536,
                .fileId = 256}},
};

std::string dateText(double seconds) {
  std::array<char, 64> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "date %.6f", seconds));
  return text.data();
}

std::string boolText(bool value) {
  return value ? "true" : "false";
}

// The other library's text for a record.
std::string expectedLine(const RecordRow& row, OXCBORMode mode) {
  const Fields& fields = row.fields;
  std::vector<std::pair<std::string, std::string>> objects;
  const std::string kind = row.isText ? "text " : "bytes ";
  objects.emplace_back("path",
                       fields.path ? kind + toHex(std::as_bytes(std::span(*fields.path))) : "null");
  objects.emplace_back("mtime",
                       fields.modificationTime ? dateText(*fields.modificationTime) : "null");
  objects.emplace_back("actualSize", std::to_string(fields.actualSize));
  objects.emplace_back("compSize", std::to_string(fields.compressedSize));
  objects.emplace_back("checksum", std::to_string(fields.checksum));
  objects.emplace_back("fileId", std::to_string(fields.fileId));
  objects.emplace_back("isFolder", boolText(fields.isFolder));
  objects.emplace_back("isEncrypted", boolText(fields.isEncrypted));
  std::string line;
  for (const auto& [key, object] : objects) {
    if (mode == OXCBORMode::sequential) {
      line += object + "; ";
    } else if (object != "null") {
      line.append(key).append(" ").append(object).append("; ");
    }
  }
  line.resize(line.size() - 2);
  return line + "\n";
}

class Stranger : public ox::test::TemporaryFolderTest {
 protected:
  // Writes all records, and makes the other library decode and encode them.
  void exchange(OXCBORMode mode, const std::string& style) const {
    writeRecords(mode);
    std::string expected;
    for (const RecordRow& row : recordRows) {
      expected += expectedLine(row, mode);
    }
    const std::string modeName = mode == OXCBORMode::keyed ? "keyed" : "sequential";
    EXPECT_EQ(ox::test::outputOf(
                  {.program = "/usr/bin/python3",
                   .arguments = {ORVEXKIT_STRANGER, modeName, style, in("ours"), in("theirs")},
                   .environment = {{"PYTHONDONTWRITEBYTECODE", "1"}}}),
              expected)
        << "python3-cbor2 of Debian has to be installed";
    ox::test::removeOne(in("ours"));
  }

  void writeRecords(OXCBORMode mode) const {
    const int fd = ::open(in("ours").c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    OXCBOREncoder encoder(mode);
    OXCBORSequenceWriter writer(fd);
    for (const RecordRow& row : recordRows) {
      encoder.reset();
      makeRecord(row.fields)->encodeWithCoder(encoder);
      EXPECT_TRUE(writer.write(encoder.item()));
    }
    EXPECT_TRUE(writer.flush());
    ::close(fd);
  }
};

struct StyleRow {
  OXCBORMode mode;
  std::string style;
};

TEST_F(Stranger, ReadsAndWritesStreamsOfRecords) {
  const StyleRow rows[] = {
      {OXCBORMode::keyed, "plain"},          {OXCBORMode::keyed, "canonical"},
      {OXCBORMode::keyed, "indefinite"},     {OXCBORMode::sequential, "plain"},
      {OXCBORMode::sequential, "canonical"}, {OXCBORMode::sequential, "indefinite"},
  };
  for (const auto& [mode, style] : rows) {
    SCOPED_TRACE((mode == OXCBORMode::keyed ? "keyed " : "sequential ") + style);
    exchange(mode, style);
    const int fd = ::open(in("theirs").c_str(), O_RDONLY | O_CLOEXEC);
    OXCBORSequenceReader reader(fd);
    for (const RecordRow& row : recordRows) {
      const auto item = reader.next();
      ASSERT_TRUE(item);
      EXPECT_EQ(recordText(OXCBORDecodeRecord<OXArchivedFile>(*item, mode)),
                recordText(makeRecord(row.fields)));
    }
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.state(), OXCBORSequenceReader::State::ended);
    ::close(fd);
    ox::test::removeOne(in("theirs"));
  }
}

TEST_F(Stranger, WritesRunsWithoutArrays) {
  exchange(OXCBORMode::sequential, "bare");
  const std::string run = ox::test::readFile(in("theirs"));
  OXCBORDecoder decoder(std::as_bytes(std::span(run)), OXCBORMode::sequential);
  for (const RecordRow& row : recordRows) {
    EXPECT_EQ(recordText(OXArchivedFile::initWithCoder(decoder)),
              recordText(makeRecord(row.fields)));
  }
  EXPECT_TRUE(decoder.isAtEnd());
  EXPECT_FALSE(decoder.hasFailed());
  ox::test::removeOne(in("theirs"));
}

}  // namespace

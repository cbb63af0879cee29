// SPDX-License-Identifier: MIT

// Records as text, and numbered records, for the tests that send records.

#pragma once

#include <OrvexKit/OXArchivedFile.h>
#include <OrvexKit/platform/OXCBORCoder.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "support/Bytes.h"

namespace ox::test {

struct Fields {
  OXString path = std::nullopt;
  std::optional<double> modificationTime = std::nullopt;
  std::uint64_t actualSize = 0;
  std::uint64_t compressedSize = 0;
  std::uint32_t checksum = 0;
  OXUnsignedWord fileId = 0;
  bool isFolder = false;
  bool isEncrypted = false;
};

std::shared_ptr<OXArchivedFile> makeRecord(const Fields& fields);

// All fields, or "null" for no record: path "docs" mtime 1.5 actualSize 1 compSize 2 checksum 3
// fileId 4 isFolder 1 isEncrypted 0
std::string recordText(const OXArchivedFile* record);
inline std::string recordText(const std::shared_ptr<OXArchivedFile>& record) {
  return recordText(record.get());
}

// The record as encoded by the library's coder, as one data item.
Bytes encoded(const OXArchivedFile& record, OXCBORMode mode);
Bytes encodedItem(const OXArchivedFile& record, OXCBORMode mode);

// The record with this number in an endless listing of different records.
std::shared_ptr<OXArchivedFile> numberedRecord(std::uint32_t number);

}  // namespace ox::test

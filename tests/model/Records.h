// Records as text, and a listing of them by number, for the tests that send records about.

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

// Every field, "null" for no record:
// path "docs" mtime 1.5 actualSize 1 compSize 2 checksum 3 fileId 4 isFolder 1 isEncrypted 0
std::string recordText(const OXArchivedFile* record);
inline std::string recordText(const std::shared_ptr<OXArchivedFile>& record) {
  return recordText(record.get());
}

// The record as the library's own coder writes it, and as one data item.
Bytes encoded(const OXArchivedFile& record, OXCBORMode mode);
Bytes encodedItem(const OXArchivedFile& record, OXCBORMode mode);

// The record of one number in an endless listing; no two are alike.
std::shared_ptr<OXArchivedFile> numberedRecord(std::uint32_t number);

}  // namespace ox::test

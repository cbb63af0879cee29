// SPDX-License-Identifier: MIT

#include "model/Records.h"

#include "support/ValueText.h"

namespace ox::test {

std::shared_ptr<OXArchivedFile> makeRecord(const Fields& fields) {
  auto record = std::make_shared<OXArchivedFile>();
  record->setPath(OXStringView(fields.path));
  if (fields.modificationTime) {
    record->setModificationTime(OXDate(OXDate::duration(*fields.modificationTime)));
  }
  record->setActualSize(fields.actualSize);
  record->setCompressedSize(fields.compressedSize);
  record->setChecksum(fields.checksum);
  record->setFileId(fields.fileId);
  record->setIsFolder(fields.isFolder);
  record->setIsEncrypted(fields.isEncrypted);
  return record;
}

std::string recordText(const OXArchivedFile* record) {
  if (record == nullptr) {
    return "null";
  }
  const auto time = record->modificationTime();
  return "path " + (record->path() ? stringText(*record->path()) : "null") + " mtime " +
         (time ? valueText(OXValue(*time)) : "null") + " actualSize " +
         std::to_string(record->actualSize()) + " compSize " +
         std::to_string(record->compressedSize()) + " checksum " +
         std::to_string(record->checksum()) + " fileId " + std::to_string(record->fileId()) +
         " isFolder " + std::to_string(static_cast<int>(record->isFolder())) + " isEncrypted " +
         std::to_string(static_cast<int>(record->isEncrypted()));
}

Bytes encoded(const OXArchivedFile& record, OXCBORMode mode) {
  OXCBOREncoder encoder(mode);
  record.encodeWithCoder(encoder);
  const auto bytes = encoder.bytes();
  return {bytes.begin(), bytes.end()};
}

Bytes encodedItem(const OXArchivedFile& record, OXCBORMode mode) {
  OXCBOREncoder encoder(mode);
  record.encodeWithCoder(encoder);
  const auto bytes = encoder.item();
  return {bytes.begin(), bytes.end()};
}

std::shared_ptr<OXArchivedFile> numberedRecord(std::uint32_t number) {
  return makeRecord({.path = "usr/share/doc/package-" + std::to_string(number) + "/copyright",
                     .modificationTime = 1.7e9 + number,
                     .actualSize = std::uint64_t{number} * 1000003,
                     .compressedSize = std::uint64_t{number} * 300007,
                     .checksum = number * 2654435761U,
                     .fileId = number,
                     .isFolder = number % 10 == 0,
                     .isEncrypted = number % 7 == 0});
}

}  // namespace ox::test

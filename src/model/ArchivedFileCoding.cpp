// SPDX-License-Identifier: MIT

#include "OrvexKit/OXArchivedFile.h"

#include <optional>
#include <utility>

#include "platform/coding/CBORFields.h"

namespace ox {
namespace {

template <typename Path>
struct Fields {
  // Not its own: a compiler may clear a whole structure, which for a text's room takes long.
  Path& path;
  std::optional<OXDate> modificationTime{};
  std::uint64_t actualSize = 0;
  std::uint64_t compressedSize = 0;
  std::uint32_t checksum = 0;
  OXUnsignedWord fileId = 0;
  bool isFolder = false;
  bool isEncrypted = false;
};

// The form of a record, for whatever writes or reads fields. The order is part of it: a sequential
// coder knows a field by its place alone. So are the two keys that differ from their fields' names,
// and that the identifier is read as a signed word.
[[gnu::always_inline]] inline void describe(auto& fields, auto& coder) {
  coder.field("path"_key, fields.path);
  coder.field("mtime"_key, fields.modificationTime);
  coder.field("actualSize"_key, fields.actualSize, &OXNumber::unsigned64Value);
  coder.field("compSize"_key, fields.compressedSize, &OXNumber::unsigned64Value);
  coder.field("checksum"_key, fields.checksum, &OXNumber::unsigned32Value);
  coder.field("fileId"_key, fields.fileId, &OXNumber::signedWordValue);
  coder.field("isFolder"_key, fields.isFolder, &OXNumber::boolValue);
  coder.field("isEncrypted"_key, fields.isEncrypted, &OXNumber::boolValue);
}

}  // namespace
}  // namespace ox

void OXArchivedFile::encodeWithCoder(OXCoder& coder) const {
  const ox::Fields<const OXString> fields{.path = path_,
                                          .modificationTime = modificationTime(),
                                          .actualSize = actualSize(),
                                          .compressedSize = compressedSize(),
                                          .checksum = checksum(),
                                          .fileId = fileId(),
                                          .isFolder = isFolder(),
                                          .isEncrypted = isEncrypted()};
  OXCBORFields::write(coder, path_ ? path_->size() : 0, fields);
}

bool OXArchivedFile::decodeWithCoder(OXCoder& coder) {
  OXString path;
  ox::Fields<OXString> fields{.path = path};
  if (!OXCBORFields::read(coder, fields)) {
    return false;
  }
  // The one that can refuse its value comes first.
  setPath(std::move(path));
  setModificationTime(fields.modificationTime);
  setActualSize(fields.actualSize);
  setCompressedSize(fields.compressedSize);
  setChecksum(fields.checksum);
  setFileId(fields.fileId);
  setIsFolder(fields.isFolder);
  setIsEncrypted(fields.isEncrypted);
  return true;
}

std::shared_ptr<OXArchivedFile> OXArchivedFile::initWithCoder(OXCoder& coder) {
  auto file = std::make_shared<OXArchivedFile>();
  return file->OXArchivedFile::decodeWithCoder(coder) ? std::move(file) : nullptr;
}

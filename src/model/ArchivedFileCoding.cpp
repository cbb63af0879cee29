#include <optional>
#include <utility>
#include <variant>

#include "OrvexKit/OXArchivedFile.h"

namespace {

// Both modes call these in one order: a sequential coder knows a field by its place alone.
constexpr std::string_view pathKey = "path";
constexpr std::string_view modificationTimeKey = "mtime";
constexpr std::string_view actualSizeKey = "actualSize";
constexpr std::string_view compressedSizeKey = "compSize";
constexpr std::string_view checksumKey = "checksum";
constexpr std::string_view fileIdKey = "fileId";
constexpr std::string_view isFolderKey = "isFolder";
constexpr std::string_view isEncryptedKey = "isEncrypted";

// Objects are made where they stay, and looked at there: a boxed number that is copied right after
// it was made takes longer than coding it.
class Writer {
 public:
  explicit Writer(OXCoder& coder) : coder_(coder), keyed_(coder.allowsKeyedCoding()) {}

  template <typename Kind, typename Field>
  void write(std::string_view key, const Field& field) {
    const OXValueView object(std::in_place_type<Kind>, field);
    if (keyed_) {
      coder_.encodeObjectForKey(object, key);
    } else {
      coder_.encodeObject(object);
    }
  }

  template <typename Kind, typename Field>
  void writeNullable(std::string_view key, const std::optional<Field>& field) {
    if (field) {
      write<Kind>(key, *field);
    } else if (!keyed_) {
      coder_.encodeObject(OXNull());
    }
  }

 private:
  OXCoder& coder_;
  const bool keyed_;
};

class Reader {
 public:
  explicit Reader(OXCoder& coder) : coder_(coder), keyed_(coder.allowsKeyedCoding()) {}

  // Calls `take` with the object of a field that takes objects of one kind, unless there is none.
  template <typename Kind, typename Take>
  void read(std::string_view key, Take take) {
    std::optional<OXValue> object = keyed_ ? coder_.decodeObjectForKey(key) : coder_.decodeObject();
    if (!object) {
      return;
    }
    if (Kind* const taken = std::get_if<Kind>(&*object)) {
      take(*taken);
      return;
    }
    const bool standsForNone = !keyed_ && std::holds_alternative<OXNull>(*object);
    allTaken_ = allTaken_ && standsForNone;
  }

  // Whether every object so far was of the kind that was asked for.
  bool allTaken() const { return allTaken_; }

 private:
  OXCoder& coder_;
  const bool keyed_;
  bool allTaken_ = true;
};

}  // namespace

void OXArchivedFile::encodeWithCoder(OXCoder& coder) const {
  Writer writer(coder);
  writer.writeNullable<std::string_view>(pathKey, path());
  writer.writeNullable<OXDate>(modificationTimeKey, modificationTime());
  writer.write<OXNumber>(actualSizeKey, actualSize());
  writer.write<OXNumber>(compressedSizeKey, compressedSize());
  writer.write<OXNumber>(checksumKey, checksum());
  writer.write<OXNumber>(fileIdKey, fileId());
  writer.write<OXNumber>(isFolderKey, isFolder());
  writer.write<OXNumber>(isEncryptedKey, isEncrypted());
}

std::shared_ptr<OXArchivedFile> OXArchivedFile::initWithCoder(OXCoder& coder) {
  Reader reader(coder);
  auto file = std::make_shared<OXArchivedFile>();
  // The path can be refused by its setter, which must not leave the coder amid a record.
  OXString path;
  reader.read<std::string>(pathKey, [&](std::string& string) { path = std::move(string); });
  reader.read<OXDate>(modificationTimeKey, [&](OXDate date) { file->setModificationTime(date); });
  // A number that is absent leaves the 0 or the false of a fresh record.
  using Number = const OXNumber&;
  reader.read<OXNumber>(actualSizeKey,
                        [&](Number number) { file->setActualSize(number.unsigned64Value()); });
  reader.read<OXNumber>(compressedSizeKey,
                        [&](Number number) { file->setCompressedSize(number.unsigned64Value()); });
  reader.read<OXNumber>(checksumKey,
                        [&](Number number) { file->setChecksum(number.unsigned32Value()); });
  reader.read<OXNumber>(fileIdKey, [&](Number number) {
    file->setFileId(static_cast<OXUnsignedWord>(number.signedWordValue()));
  });
  reader.read<OXNumber>(isFolderKey, [&](Number number) { file->setIsFolder(number.boolValue()); });
  reader.read<OXNumber>(isEncryptedKey,
                        [&](Number number) { file->setIsEncrypted(number.boolValue()); });
  if (!reader.allTaken()) {
    return nullptr;
  }
  file->setPath(std::move(path));
  return file;
}

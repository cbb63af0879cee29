#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "OrvexKit/OXArchivedFile.h"
#include "platform/coding/CBORFields.h"

namespace ox {
namespace {

template <typename Text>
struct Fields {
  // Not defaulted: that clears the room of the path's text as well, which takes longer than all
  // else.
  Fields() noexcept {}  // NOLINT(modernize-use-equals-default)

  std::optional<Text> path;
  std::optional<OXDate> modificationTime;
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
template <typename Values, typename Coder>
void describe(Values& fields, Coder& coder) {
  coder.string(FieldKey("path"), fields.path);
  coder.date(FieldKey("mtime"), fields.modificationTime);
  coder.template number<&OXNumber::unsigned64Value>(FieldKey("actualSize"), fields.actualSize);
  coder.template number<&OXNumber::unsigned64Value>(FieldKey("compSize"), fields.compressedSize);
  coder.template number<&OXNumber::unsigned32Value>(FieldKey("checksum"), fields.checksum);
  coder.template number<&OXNumber::signedWordValue>(FieldKey("fileId"), fields.fileId);
  coder.template number<&OXNumber::boolValue>(FieldKey("isFolder"), fields.isFolder);
  coder.template number<&OXNumber::boolValue>(FieldKey("isEncrypted"), fields.isEncrypted);
}

// Writes fields to a coder of any kind, as objects.
class ObjectWriter {
 public:
  explicit ObjectWriter(OXCoder& coder) : coder_(coder), keyed_(coder.allowsKeyedCoding()) {}

  void string(const auto& key, const auto& field) {
    if (field) {
      write(key, *field);
    } else if (!keyed_) {
      coder_.encodeObject(OXNull());
    }
  }
  void date(const auto& key, const auto& field) { string(key, field); }
  template <auto read>
  void number(const auto& key, auto field) {
    write(key, OXNumber(field));
  }

 private:
  void write(const auto& key, const OXValueView& object) {
    if (keyed_) {
      coder_.encodeObjectForKey(object, key.text());
    } else {
      coder_.encodeObject(object);
    }
  }

  OXCoder& coder_;
  const bool keyed_;
};

// Reads fields from a coder of any kind.
class ObjectReader {
 public:
  explicit ObjectReader(OXCoder& coder) : coder_(coder), keyed_(coder.allowsKeyedCoding()) {}

  void string(const auto& key, std::optional<std::string>& field) {
    take<std::string>(key, [&](std::string& string) { field = std::move(string); });
  }
  void date(const auto& key, std::optional<OXDate>& field) {
    take<OXDate>(key, [&](OXDate date) { field = date; });
  }
  template <auto read, typename Field>
  void number(const auto& key, Field& field) {
    take<OXNumber>(key, [&](OXNumber number) { field = static_cast<Field>((number.*read)()); });
  }

  // Whether every object so far was of the kind that its field takes.
  bool fits() const { return fits_; }

 private:
  // Calls `set` with the object, unless there is none.
  template <typename Kind>
  void take(const auto& key, auto set) {
    std::optional<OXValue> object =
        keyed_ ? coder_.decodeObjectForKey(key.text()) : coder_.decodeObject();
    if (!object || (!keyed_ && std::holds_alternative<OXNull>(*object))) {
      return;
    }
    if (Kind* const taken = std::get_if<Kind>(&*object)) {
      set(*taken);
    } else {
      fits_ = false;
    }
  }

  OXCoder& coder_;
  const bool keyed_;
  bool fits_ = true;
};

bool readFields(OXCoder& coder, Fields<std::string>& fields) {
  if (OXCBORDecoder* const decoder = OXCBORFields::decoder(coder)) {
    return OXCBORFields::read(*decoder, [&](auto& reader) { describe(fields, reader); });
  }
  ObjectReader reader(coder);
  describe(fields, reader);
  return reader.fits();
}

}  // namespace
}  // namespace ox

void OXArchivedFile::encodeWithCoder(OXCoder& coder) const {
  ox::Fields<std::string_view> fields;
  fields.path = path_;
  fields.modificationTime = modificationTime();
  fields.actualSize = actualSize();
  fields.compressedSize = compressedSize();
  fields.checksum = checksum();
  fields.fileId = fileId();
  fields.isFolder = isFolder();
  fields.isEncrypted = isEncrypted();
  if (OXCBOREncoder* const encoder = OXCBORFields::encoder(coder)) {
    OXCBORFields::write(*encoder, path_ ? path_->size() : 0,
                        [&](auto& writer) { ox::describe(fields, writer); });
  } else {
    ox::ObjectWriter writer(coder);
    ox::describe(fields, writer);
  }
}

bool OXArchivedFile::decodeWithCoder(OXCoder& coder) {
  ox::Fields<std::string> fields;
  if (!ox::readFields(coder, fields)) {
    return false;
  }
  // The one that can refuse its value comes first.
  setPath(std::move(fields.path));
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

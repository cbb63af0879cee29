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
  coder.field(FieldKey("path"), fields.path);
  coder.field(FieldKey("mtime"), fields.modificationTime);
  coder.field(FieldKey("actualSize"), fields.actualSize, &OXNumber::unsigned64Value);
  coder.field(FieldKey("compSize"), fields.compressedSize, &OXNumber::unsigned64Value);
  coder.field(FieldKey("checksum"), fields.checksum, &OXNumber::unsigned32Value);
  coder.field(FieldKey("fileId"), fields.fileId, &OXNumber::signedWordValue);
  coder.field(FieldKey("isFolder"), fields.isFolder, &OXNumber::boolValue);
  coder.field(FieldKey("isEncrypted"), fields.isEncrypted, &OXNumber::boolValue);
}

// Writes fields to a coder of any kind, as objects.
class ObjectWriter {
 public:
  explicit ObjectWriter(OXCoder& coder) : coder_(coder), keyed_(coder.allowsKeyedCoding()) {}

  template <typename Object>
  void field(const auto& key, const std::optional<Object>& object) {
    if (object) {
      write(key, *object);
    } else if (!keyed_) {
      coder_.encodeObject(OXNull());
    }
  }
  void field(const auto& key, auto number, auto /*getter*/) { write(key, OXNumber(number)); }

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

  template <typename Object>
  void field(const auto& key, std::optional<Object>& object) {
    std::optional<OXValue> value =
        keyed_ ? coder_.decodeObjectForKey(key.text()) : coder_.decodeObject();
    if (!value || (!keyed_ && std::holds_alternative<OXNull>(*value))) {
      return;
    }
    if (Object* const taken = std::get_if<Object>(&*value)) {
      object = std::move(*taken);
    } else {
      fits_ = false;
    }
  }
  template <typename Number>
  void field(const auto& key, Number& number, auto getter) {
    std::optional<OXNumber> object;
    field(key, object);
    number = object ? static_cast<Number>(((*object).*getter)()) : number;
  }

  // Whether every object so far was of the kind that its field takes.
  bool fits() const { return fits_; }

 private:
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

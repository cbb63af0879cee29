// Coders: what writes a record's fields to some other form, and reads them back.

#pragma once

#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXValue.h>

#include <cstdint>
#include <optional>
#include <string_view>

// A coder, for hosts to implement; `OXCBOREncoder` and `OXCBORDecoder` are the library's own. A
// keyed coder stores each object under a name, in any order; a sequential one stores a run of
// objects without names, which are read in the order of writing. A record asks once which of the
// two its coder is, and then calls only that pair of operations.
//
// A coder that only writes gives no object when it is asked to read, and one that only reads
// ignores what it is given to write.
//
// Thread safety: a coder is used by one thread at a time.
class OX_EXPORT OXCoder : public OXObject {
 public:
  // Whether this coder is a keyed one; never changes.
  virtual bool allowsKeyedCoding() const = 0;

  // Keyed mode: stores the object under `key`. The key and the object's string are valid during the
  // call only.
  virtual void encodeObjectForKey(const OXValueView& object, std::string_view key) = 0;
  // The object under `key`, or none when there is none. A null marker is given as it is.
  virtual std::optional<OXValue> decodeObjectForKey(std::string_view key) = 0;

  // Sequential mode: stores the object behind those that were stored before. Its string is valid
  // during the call only.
  virtual void encodeObject(const OXValueView& object) = 0;
  // The next object, or none after the last. A coder that takes being asked for more than there is
  // for damage may give an `OXMisfit` instead, so that no record comes of it.
  virtual std::optional<OXValue> decodeObject() = 0;

 private:
  friend class OXCBOREncoder;
  friend class OXCBORDecoder;
  friend class OXCBORFields;

  // Which of the library's own coders this is: its records use those without a call for each field.
  enum class Own : std::uint8_t { none, encoder, decoder };
  Own own_ = Own::none;
};

// A coder that sends objects to another process.
class OX_EXPORT OXPortCoder : public OXCoder {
 public:
  // Whether the objects are to be sent by reference instead of by value.
  virtual bool isByref() const = 0;
};

// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXValue.h>

#include <cstdint>
#include <optional>
#include <string_view>

/// Writes a record's fields to some other form or reads them back, one thread at a time. The
/// library has `OXCBOREncoder` and `OXCBORDecoder`; hosts may implement others. A keyed coder
/// stores objects under names, in any order; a sequential one without names, to be read in the
/// order of writing. A record asks for the mode once, then calls that mode's functions only. A
/// coder that only writes decodes no object; one that only reads ignores what it is to encode.
/// \ingroup coding
class OX_EXPORT OXCoder : public OXObject {
 public:
  /// Returns whether this coder is keyed, always the same.
  virtual bool allowsKeyedCoding() const = 0;

  /// Keyed mode: stores the object under `key`. The strings of both are valid during the call only.
  virtual void encodeObjectForKey(const OXValueView& object, std::string_view key) = 0;
  /// Keyed mode: returns the object under `key`, also a null marker, or none if the key is absent.
  virtual std::optional<OXValue> decodeObjectForKey(std::string_view key) = 0;

  /// Sequential mode: stores the next object. Its string is valid during the call only.
  virtual void encodeObject(const OXValueView& object) = 0;
  /// Sequential mode: returns the next object, or none after the last. A coder for which reading
  /// past the end means damage may return an `OXMisfit` instead, so that the record is refused.
  virtual std::optional<OXValue> decodeObject() = 0;

 private:
  friend class OXCBOREncoder;
  friend class OXCBORDecoder;
  friend class OXCBORFields;

  // Which of the library's own coders this is: its records use those without a call for each field.
  enum class Own : std::uint8_t { none, encoder, decoder };
  Own own_ = Own::none;
};

/// A coder that sends objects to another process.
/// \ingroup coding
class OX_EXPORT OXPortCoder : public OXCoder {
 public:
  /// Returns whether to send objects by reference instead of by value.
  virtual bool isByref() const = 0;
};

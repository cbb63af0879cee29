// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXString.h>

#include <cstdint>

/// An unsigned integer of the processor's word size: 64 or 32 bits.
/// \ingroup types
using OXUnsignedWord = std::uintptr_t;

/// The base of all classes: an object with an identity, not copyable. Shared objects are in
/// `std::shared_ptr`. Thread-safe: these functions only read the object's address.
/// \ingroup types
class OX_EXPORT OXObject {
 public:
  OXObject() = default;
  OXObject(const OXObject&) = delete;
  OXObject& operator=(const OXObject&) = delete;
  virtual ~OXObject();

  /// Returns a short text for logs, never null. By default the address: `<OXObject: 0x…>`.
  virtual OXString description() const;

  /// Returns whether `other` equals this object; null never does. By default, only itself does.
  virtual bool isEqual(const OXObject* other) const;

  /// Returns a number by identity, not by content: constant, and unique among living objects.
  virtual OXUnsignedWord hash() const;
};

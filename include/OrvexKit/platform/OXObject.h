// The root of the library's classes.

#pragma once

#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXString.h>

#include <cstdint>

// An unsigned integer of the processor's word: 64 bits on 64-bit builds, 32 bits on 32-bit ones.
using OXUnsignedWord = std::uintptr_t;

// An object with an identity: it is handed around by pointer and never copied by assignment.
// Objects that are shared live in `std::shared_ptr`.
//
// Thread safety: the three operations only read the object's address, so they may be called from
// any number of threads at once, for as long as the object lives.
class OX_EXPORT OXObject {
 public:
  // An object with an identity of its own.
  OXObject() = default;
  OXObject(const OXObject&) = delete;
  OXObject& operator=(const OXObject&) = delete;
  virtual ~OXObject();

  // A short text for logs and debuggers, never null; here the object's address, `<OXObject: 0x…>`.
  virtual OXString description() const;

  // Whether `other` is equal to this object; null never is. Here: whether it is this very object.
  virtual bool isEqual(const OXObject* other) const;

  // A number that stays the same for the object's whole life and that two objects alive at the
  // same time do not share. It goes by identity and is not made from what the object holds.
  virtual OXUnsignedWord hash() const;
};

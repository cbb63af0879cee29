// The options chosen for creating an archive.

#pragma once

#include <OrvexKit/platform/OXAtomic.h>
#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXString.h>

#include <any>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

// Carries the options for a new archive. The library holds and copies them and never acts on them;
// the two indices are positions in the `compressionLevels` and `encryptionMethods` of the format's
// descriptor. A fresh object has every field zero or null.
//
//   std::shared_ptr<OXArchiveSettings> settings = OXArchiveSettings::defaultSettings();
//   settings->setPassword("secret");
//   settings->setVolumeSize(700'000'000);
//   std::shared_ptr<OXArchiveSettings> same = settings->copyWithZone();
//
// Two objects are equal, and have the same hash, only when they are the same object. Getters and
// setters are virtual, so that a derived class can keep its options elsewhere.
//
// Thread safety: every property may be got and set from any number of threads at once, and is
// always read and written whole, `volumeSize` on 32-bit processors too. The properties do not order
// each other. What is inside the dictionary of further options the host guards itself.
class OX_EXPORT OXArchiveSettings : public OXObject {
 public:
  // Further options by name. The values are objects of kinds that the host chooses and the library
  // never looks at.
  using AuxSettings = std::map<std::string, std::any, std::less<>>;

  // A new object with every field zero or null, which nobody but the caller holds. Always an
  // `OXArchiveSettings` itself, also when called as a derived class's.
  static std::shared_ptr<OXArchiveSettings> defaultSettings();

  // Settings with every field zero or null.
  OXArchiveSettings();

  // Forgets the password as `setPassword(std::nullopt)` does, and releases the dictionary.
  ~OXArchiveSettings() override;

  // A new object with what this object's getters return, which nobody but the caller holds. Always
  // an `OXArchiveSettings` itself, also when this object is of a derived class. Its password is a
  // copy of its own, while `auxSettings` is the same dictionary in both, on purpose: an option that
  // is added to one is seen by both. A property that is set meanwhile is copied as it was or as it
  // is, each for itself.
  std::shared_ptr<OXArchiveSettings> copyWithZone() const;

  // The password, or null. The object keeps its own copy and overwrites that copy's memory before
  // releasing it, when another password is set and when the object is destroyed. The caller must
  // overwrite its own copies: the string given to the setter and those that the getter returned.
  virtual OXString password() const;
  virtual void setPassword(OXStringView password);

  // The position of the chosen encryption method.
  virtual OXUnsignedWord encryptionIndex() const noexcept;
  virtual void setEncryptionIndex(OXUnsignedWord encryptionIndex) noexcept;

  // The position of the chosen compression level.
  virtual OXUnsignedWord compressionLevelIndex() const noexcept;
  virtual void setCompressionLevelIndex(OXUnsignedWord compressionLevelIndex) noexcept;

  // The size of each volume. Its unit and the meaning of 0 are the host's.
  virtual std::uint64_t volumeSize() const noexcept;
  virtual void setVolumeSize(std::uint64_t volumeSize) noexcept;

  // Further options, or null. The dictionary is kept as the object it is, not copied: whoever else
  // holds it sees and changes the same one.
  virtual std::shared_ptr<AuxSettings> auxSettings() const noexcept;
  virtual void setAuxSettings(std::shared_ptr<AuxSettings> auxSettings) noexcept;

 private:
  std::shared_ptr<const std::string> password_;
  std::shared_ptr<AuxSettings> auxSettings_;
  ox::AtomicScalar<std::uint64_t> volumeSize_{0};
  ox::AtomicScalar<OXUnsignedWord> encryptionIndex_{0};
  ox::AtomicScalar<OXUnsignedWord> compressionLevelIndex_{0};
  mutable std::atomic<std::uint32_t> lock_{0};  // guards the references
};

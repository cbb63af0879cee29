// SPDX-License-Identifier: MIT

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

/// The options for a new archive. The library stores and copies them and never acts on them. The
/// indices are positions in `compressionLevels` and `encryptionMethods` of the `OXFormatInfo`.
/// Equality and hash are by identity. Derived classes may override getters and setters.
///
/// Thread-safe: each property is read and written whole, `volumeSize` on 32-bit processors too, but
/// the properties are not ordered. The host guards the contents of the dictionary.
/// \ingroup records
class OX_EXPORT OXArchiveSettings : public OXObject {
 public:
  /// Further options by name. The host chooses the types of the values; the library ignores them.
  using AuxSettings = std::map<std::string, std::any, std::less<>>;

  /// Returns a new object with every field zero or null, owned by the caller alone. Always of the
  /// class `OXArchiveSettings`, also when called through a derived class.
  static std::shared_ptr<OXArchiveSettings> defaultSettings();

  OXArchiveSettings();            ///< Every field is zero or null.
  ~OXArchiveSettings() override;  ///< Overwrites the password in memory, releases the dictionary.

  /// Returns a new object with what this object's getters return, owned by the caller alone. Always
  /// of the class `OXArchiveSettings`, also if this object is not. The password is copied, while
  /// both objects share one `auxSettings` dictionary: each sees an option that is added to the
  /// other. Of a property that another thread sets meanwhile, copies the old or the new value.
  std::shared_ptr<OXArchiveSettings> copyWithZone() const;

  /// The password, or null. The caller must overwrite this copy itself.
  virtual OXString password() const;
  /// Sets the password. Keeps a copy and overwrites its memory before releasing it, when the next
  /// password is set and when the object is destroyed. The caller must overwrite `password` itself.
  virtual void setPassword(OXStringView password);

  /// The position of the chosen encryption method.
  virtual OXUnsignedWord encryptionIndex() const noexcept;
  /// Sets the position of the chosen encryption method.
  virtual void setEncryptionIndex(OXUnsignedWord encryptionIndex) noexcept;

  /// The position of the chosen compression level.
  virtual OXUnsignedWord compressionLevelIndex() const noexcept;
  /// Sets the position of the chosen compression level.
  virtual void setCompressionLevelIndex(OXUnsignedWord compressionLevelIndex) noexcept;

  /// The size of each volume. The host defines its unit and the meaning of 0.
  virtual std::uint64_t volumeSize() const noexcept;
  /// Sets the size of each volume.
  virtual void setVolumeSize(std::uint64_t volumeSize) noexcept;

  /// The dictionary of further options, or null: the object that was set, not a copy.
  virtual std::shared_ptr<AuxSettings> auxSettings() const noexcept;
  /// Sets the dictionary of further options, which all its owners share.
  virtual void setAuxSettings(std::shared_ptr<AuxSettings> auxSettings) noexcept;

 private:
  std::shared_ptr<const std::string> password_;
  std::shared_ptr<AuxSettings> auxSettings_;
  ox::AtomicScalar<std::uint64_t> volumeSize_{0};
  ox::AtomicScalar<OXUnsignedWord> encryptionIndex_{0};
  ox::AtomicScalar<OXUnsignedWord> compressionLevelIndex_{0};
  mutable std::atomic<std::uint32_t> lock_{0};  // guards the references
};

// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXAtomic.h>
#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXString.h>

#include <any>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// What one archive format is and can do. The host creates descriptors: the library has no table. A
/// descriptor shares lists and signature bytes with their other owners, without a copy, until it is
/// destroyed; the host guards what it can still change in them.
///
/// Thread-safe: each property is read and written whole, `maxSupportedVersion` on 32-bit processors
/// too, but the properties are not ordered.
/// \ingroup records
class OX_EXPORT OXFormatInfo : public OXObject {
 public:
  using Strings = std::vector<std::string>;  ///< Texts, such as file extensions.
  using Objects = std::vector<std::any>;     ///< Objects of any kind; the library ignores them.
  using Bytes = std::vector<std::uint8_t>;   ///< Signature bytes, in file order.

  OXFormatInfo();  ///< Every field is zero, false or null.
  ~OXFormatInfo() override;

  /// The format's identifier.
  OXUnsignedWord formatId() const noexcept { return formatId_.get(); }
  /// Sets the format's identifier.
  void setFormatId(OXUnsignedWord formatId) noexcept { formatId_.set(formatId); }

  /// The format's name, or null. The caller owns the copy.
  OXString name() const;
  /// Sets the format's name.
  void setName(OXStringView name);

  /// The file extensions of the format, without dots, or null.
  std::shared_ptr<const Strings> extensions() const noexcept;
  /// Sets the file extensions.
  void setExtensions(std::shared_ptr<const Strings> extensions) noexcept;

  /// Whether archives of this format can be created.
  bool isCreationSupported() const noexcept { return isCreationSupported_.get(); }
  /// Sets whether archives can be created.
  void setIsCreationSupported(bool isCreationSupported) noexcept {
    isCreationSupported_.set(isCreationSupported);
  }

  /// Whether archives of this format can be split into volumes.
  bool isSplittingSupported() const noexcept { return isSplittingSupported_.get(); }
  /// Sets whether archives can be split into volumes.
  void setIsSplittingSupported(bool isSplittingSupported) noexcept {
    isSplittingSupported_.set(isSplittingSupported);
  }

  /// The compression levels offered, or null if there is no choice.
  std::shared_ptr<const Objects> compressionLevels() const noexcept;
  /// Sets the compression levels offered.
  void setCompressionLevels(std::shared_ptr<const Objects> compressionLevels) noexcept;

  /// The highest supported version of the format.
  double maxSupportedVersion() const noexcept { return maxSupportedVersion_.get(); }
  /// Sets the highest supported version.
  void setMaxSupportedVersion(double maxSupportedVersion) noexcept {
    maxSupportedVersion_.set(maxSupportedVersion);
  }

  /// The bytes that archives of this format begin with, or null.
  std::shared_ptr<const Bytes> signature() const noexcept;
  /// Sets the signature bytes.
  void setSignature(std::shared_ptr<const Bytes> signature) noexcept;

  /// The encryption methods offered, or null if there is no choice.
  std::shared_ptr<const Objects> encryptionMethods() const noexcept;
  /// Sets the encryption methods offered.
  void setEncryptionMethods(std::shared_ptr<const Objects> encryptionMethods) noexcept;

  OXString description() const override;  ///< The name, or "" if it is null.

  /// Returns whether `other` describes the same format: it is this object; or it is of this
  /// object's run-time class or one publicly derived from that, and both have equal names (byte for
  /// byte, not null) and equal identifiers. Not always symmetric. Without run-time type information
  /// (-fno-rtti), an object only equals itself. `hash` is by identity all the same, on purpose.
  ///
  ///     plain "Zip" 1, plain "Zip" 1      => true
  ///     plain "Zip" 1, plain "Zip" 2      => false
  ///     plain "Zip" 1, plain "zip" 1      => false
  ///     plain "Zip" 1, derived "Zip" 1    => true
  ///     derived "Zip" 1, plain "Zip" 1    => false
  ///     plain null 1, another null 1      => false
  ///     any, null                         => false
  bool isEqual(const OXObject* other) const override;

  /// Returns whether a new archive has any options: compression levels, splitting, or encryption
  /// methods. An empty list counts, null does not.
  bool isConfigurable() const noexcept;

  /// Returns whether `extension` is in `extensions`, byte for byte. False if either is null.
  ///
  ///     extensions {"zip"}, "zip"  => true
  ///     extensions {"zip"}, "ZIP"  => false
  ///     extensions null, "zip"     => false
  bool supportsExtension(OXStringView extension) const noexcept;

 private:
  ox::AtomicScalar<double> maxSupportedVersion_{0.0};
  ox::AtomicScalar<OXUnsignedWord> formatId_{0};
  std::shared_ptr<const std::string> name_;
  std::shared_ptr<const Strings> extensions_;
  std::shared_ptr<const Objects> compressionLevels_;
  std::shared_ptr<const Bytes> signature_;
  std::shared_ptr<const Objects> encryptionMethods_;
  ox::AtomicScalar<bool> isCreationSupported_{false};
  ox::AtomicScalar<bool> isSplittingSupported_{false};
  mutable std::atomic<std::uint32_t> lock_{0};  // guards the references
};

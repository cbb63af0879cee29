// What one archive format is and can do.

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

// Describes one archive format as the host knows it. The library keeps no table of formats: the
// host makes descriptors and fills them in. A fresh one has every field zero, false or null.
//
//   auto zip = std::make_shared<OXFormatInfo>();
//   zip->setFormatId(1);
//   zip->setName("Zip");
//   zip->setExtensions(std::make_shared<OXFormatInfo::Strings>(OXFormatInfo::Strings{"zip"}));
//   zip->supportsExtension("zip")  => true
//   zip->isConfigurable()          => false
//
// Lists and signature bytes are kept as the objects they are, not copied: whoever else holds one
// sees the same object. What the host leaves changeable in them it has to guard itself. The
// descriptor releases them when it is destroyed.
//
// Thread safety: every property may be got and set from any number of threads at once, and is
// always read and written whole, `maxSupportedVersion` on 32-bit processors too. The properties do
// not order each other.
class OX_EXPORT OXFormatInfo : public OXObject {
 public:
  // A list of texts, such as file extensions.
  using Strings = std::vector<std::string>;
  // Objects of kinds that the host chooses and the library never looks at: numbers, texts, its own.
  using Objects = std::vector<std::any>;
  // Signature bytes, in the order in which they stand in a file.
  using Bytes = std::vector<std::uint8_t>;

  // A descriptor with every field zero, false or null.
  OXFormatInfo();
  ~OXFormatInfo() override;

  // The format's identifier.
  OXUnsignedWord formatId() const noexcept { return formatId_.get(); }
  void setFormatId(OXUnsignedWord formatId) noexcept { formatId_.set(formatId); }

  // The format's name, or null. The result is the caller's own copy.
  OXString name() const;
  void setName(OXStringView name);

  // The file extensions of the format, without dots, or null.
  std::shared_ptr<const Strings> extensions() const noexcept;
  void setExtensions(std::shared_ptr<const Strings> extensions) noexcept;

  // Whether archives of this format can be created.
  bool isCreationSupported() const noexcept { return isCreationSupported_.get(); }
  void setIsCreationSupported(bool isCreationSupported) noexcept {
    isCreationSupported_.set(isCreationSupported);
  }

  // Whether archives of this format can be split into volumes.
  bool isSplittingSupported() const noexcept { return isSplittingSupported_.get(); }
  void setIsSplittingSupported(bool isSplittingSupported) noexcept {
    isSplittingSupported_.set(isSplittingSupported);
  }

  // The compression levels offered, or null when there is nothing to choose from.
  std::shared_ptr<const Objects> compressionLevels() const noexcept;
  void setCompressionLevels(std::shared_ptr<const Objects> compressionLevels) noexcept;

  // The highest version of the format that is supported.
  double maxSupportedVersion() const noexcept { return maxSupportedVersion_.get(); }
  void setMaxSupportedVersion(double maxSupportedVersion) noexcept {
    maxSupportedVersion_.set(maxSupportedVersion);
  }

  // The bytes that archives of this format start with, or null.
  std::shared_ptr<const Bytes> signature() const noexcept;
  void setSignature(std::shared_ptr<const Bytes> signature) noexcept;

  // The encryption methods offered, or null when there is nothing to choose from.
  std::shared_ptr<const Objects> encryptionMethods() const noexcept;
  void setEncryptionMethods(std::shared_ptr<const Objects> encryptionMethods) noexcept;

  // The name, or "" when it is null.
  OXString description() const override;

  // Whether `other` describes the same format: it is this very object, or it is an instance of this
  // object's own class or of one derived publicly from that, both have names, the names are equal
  // byte for byte, and the identifiers are equal.
  //
  // The class that counts is the one this object has at run time, a host's class too, so two
  // objects may answer differently about each other. An object of a class that was compiled without
  // run-time type information (-fno-rtti) is equal to itself alone.
  //
  //   plain "Zip" 1, plain "Zip" 1      => true
  //   plain "Zip" 1, plain "Zip" 2      => false
  //   plain "Zip" 1, plain "zip" 1      => false
  //   plain "Zip" 1, derived "Zip" 1    => true
  //   derived "Zip" 1, plain "Zip" 1    => false
  //   plain null 1, another null 1      => false
  //   any, null                         => false
  //
  // `hash` still goes by identity, on purpose: equal descriptors have different hashes, and a hash
  // table of descriptors is one of objects.
  bool isEqual(const OXObject* other) const override;

  // Whether there is anything to choose when an archive is made: compression levels, splitting, or
  // encryption methods. A list counts when it is there, even if it is empty.
  bool isConfigurable() const noexcept;

  // Whether `extension` is one of `extensions`, byte for byte; upper and lower case are told apart.
  // False when either is null.
  //
  //   extensions {"zip"}, "zip"  => true
  //   extensions {"zip"}, "ZIP"  => false
  //   extensions null, "zip"     => false
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

#include <algorithm>
#include <utility>

#include "OrvexKit/OXFormatInfo.h"
#include "platform/objects/AtomicString.h"
#include "platform/objects/DynamicClass.h"

OXFormatInfo::OXFormatInfo() = default;
OXFormatInfo::~OXFormatInfo() = default;

OXString OXFormatInfo::name() const {
  return ox::copiedString(name_);
}

void OXFormatInfo::setName(OXStringView name) {
  name_.set(ox::sharedString(name));
}

std::shared_ptr<const OXFormatInfo::Strings> OXFormatInfo::extensions() const noexcept {
  return extensions_.get();
}

void OXFormatInfo::setExtensions(std::shared_ptr<const Strings> extensions) noexcept {
  extensions_.set(std::move(extensions));
}

std::shared_ptr<const OXFormatInfo::Objects> OXFormatInfo::compressionLevels() const noexcept {
  return compressionLevels_.get();
}

void OXFormatInfo::setCompressionLevels(std::shared_ptr<const Objects> compressionLevels) noexcept {
  compressionLevels_.set(std::move(compressionLevels));
}

std::shared_ptr<const OXFormatInfo::Bytes> OXFormatInfo::signature() const noexcept {
  return signature_.get();
}

void OXFormatInfo::setSignature(std::shared_ptr<const Bytes> signature) noexcept {
  signature_.set(std::move(signature));
}

std::shared_ptr<const OXFormatInfo::Objects> OXFormatInfo::encryptionMethods() const noexcept {
  return encryptionMethods_.get();
}

void OXFormatInfo::setEncryptionMethods(std::shared_ptr<const Objects> encryptionMethods) noexcept {
  encryptionMethods_.set(std::move(encryptionMethods));
}

OXString OXFormatInfo::description() const {
  return name().value_or("");
}

bool OXFormatInfo::isEqual(const OXObject* other) const {
  const auto* const format = dynamic_cast<const OXFormatInfo*>(other);
  if (format == this) {
    return true;
  }
  if (format == nullptr || !ox::isInstanceOfClassOf(*other, *this)) {
    return false;
  }
  const std::shared_ptr<const std::string> own = name_.get();
  const std::shared_ptr<const std::string> others = format->name_.get();
  return own && others && *own == *others && formatId() == format->formatId();
}

bool OXFormatInfo::isConfigurable() const noexcept {
  return compressionLevels() || isSplittingSupported() || encryptionMethods();
}

bool OXFormatInfo::supportsExtension(OXStringView extension) const noexcept {
  const std::shared_ptr<const Strings> known = extensions();
  return extension && known && std::ranges::find(*known, *extension) != known->end();
}

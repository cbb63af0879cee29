// SPDX-License-Identifier: MIT

#include "OrvexKit/OXFormatInfo.h"

#include <algorithm>
#include <utility>

#include "OrvexKit/OXFileUtil.h"
#include "platform/objects/DynamicClass.h"
#include "platform/objects/RecordLock.h"

const std::string_view kOXCodecErrorDomain = "OrvexKitCodecError";

OXFormatInfo::OXFormatInfo() = default;
OXFormatInfo::~OXFormatInfo() = default;

OXString OXFormatInfo::name() const {
  return ox::copyOf(ox::getGuarded(lock_, name_));
}

void OXFormatInfo::setName(OXStringView name) {
  ox::setGuarded(lock_, name_, ox::sharedString(name));
}

std::shared_ptr<const OXFormatInfo::Strings> OXFormatInfo::extensions() const noexcept {
  return ox::getGuarded(lock_, extensions_);
}

void OXFormatInfo::setExtensions(std::shared_ptr<const Strings> extensions) noexcept {
  ox::setGuarded(lock_, extensions_, std::move(extensions));
}

std::shared_ptr<const OXFormatInfo::Objects> OXFormatInfo::compressionLevels() const noexcept {
  return ox::getGuarded(lock_, compressionLevels_);
}

void OXFormatInfo::setCompressionLevels(std::shared_ptr<const Objects> compressionLevels) noexcept {
  ox::setGuarded(lock_, compressionLevels_, std::move(compressionLevels));
}

std::shared_ptr<const OXFormatInfo::Bytes> OXFormatInfo::signature() const noexcept {
  return ox::getGuarded(lock_, signature_);
}

void OXFormatInfo::setSignature(std::shared_ptr<const Bytes> signature) noexcept {
  ox::setGuarded(lock_, signature_, std::move(signature));
}

std::shared_ptr<const OXFormatInfo::Objects> OXFormatInfo::encryptionMethods() const noexcept {
  return ox::getGuarded(lock_, encryptionMethods_);
}

void OXFormatInfo::setEncryptionMethods(std::shared_ptr<const Objects> encryptionMethods) noexcept {
  ox::setGuarded(lock_, encryptionMethods_, std::move(encryptionMethods));
}

OXString OXFormatInfo::description() const {
  return name().value_or("");
}

bool OXFormatInfo::isEqual(const OXObject* other) const {
  if (other == nullptr) {
    return false;
  }
  // The same object, even if it has several `OXObject` bases and this is another one.
  if (dynamic_cast<const void*>(other) == dynamic_cast<const void*>(this)) {
    return true;
  }
  const auto* const format =
      ox::isInstanceOfClassOf(*other, *this) ? dynamic_cast<const OXFormatInfo*>(other) : nullptr;
  if (format == nullptr) {
    return false;
  }
  const ox::SharedString own = ox::getGuarded(lock_, name_);
  const ox::SharedString others = ox::getGuarded(format->lock_, format->name_);
  return own && others && *own == *others && formatId() == format->formatId();
}

bool OXFormatInfo::isConfigurable() const noexcept {
  return compressionLevels() || isSplittingSupported() || encryptionMethods();
}

bool OXFormatInfo::supportsExtension(OXStringView extension) const noexcept {
  const std::shared_ptr<const Strings> known = extensions();
  return extension && known && std::find(known->begin(), known->end(), *extension) != known->end();
}

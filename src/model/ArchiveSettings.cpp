// SPDX-License-Identifier: MIT

#include "OrvexKit/OXArchiveSettings.h"

#include <memory>
#include <string>
#include <utility>

#include "platform/objects/RecordLock.h"
#include "platform/objects/Wipe.h"

std::shared_ptr<OXArchiveSettings> OXArchiveSettings::defaultSettings() {
  return std::make_shared<OXArchiveSettings>();
}

OXArchiveSettings::OXArchiveSettings() = default;

OXArchiveSettings::~OXArchiveSettings() = default;

std::shared_ptr<OXArchiveSettings> OXArchiveSettings::copyWithZone() const {
  auto copy = std::make_shared<OXArchiveSettings>();
  // The local copy is overwritten too, even if `setPassword` throws.
  OXString secret = password();
  const auto wipe = [](std::string* text) { ox::wipe(*text); };
  const std::unique_ptr<std::string, decltype(wipe)> wiped(secret ? &*secret : nullptr, wipe);
  copy->setPassword(secret);
  copy->setCompressionLevelIndex(compressionLevelIndex());
  copy->setEncryptionIndex(encryptionIndex());
  copy->setVolumeSize(volumeSize());
  copy->setAuxSettings(auxSettings());
  return copy;
}

OXString OXArchiveSettings::password() const {
  return ox::copyOf(ox::getGuarded(lock_, password_));
}

void OXArchiveSettings::setPassword(OXStringView password) {
  ox::setGuarded(lock_, password_, password ? ox::makeWipedString(*password) : nullptr);
}

OXUnsignedWord OXArchiveSettings::encryptionIndex() const noexcept {
  return encryptionIndex_.get();
}

void OXArchiveSettings::setEncryptionIndex(OXUnsignedWord encryptionIndex) noexcept {
  encryptionIndex_.set(encryptionIndex);
}

OXUnsignedWord OXArchiveSettings::compressionLevelIndex() const noexcept {
  return compressionLevelIndex_.get();
}

void OXArchiveSettings::setCompressionLevelIndex(OXUnsignedWord compressionLevelIndex) noexcept {
  compressionLevelIndex_.set(compressionLevelIndex);
}

std::uint64_t OXArchiveSettings::volumeSize() const noexcept {
  return volumeSize_.get();
}

void OXArchiveSettings::setVolumeSize(std::uint64_t volumeSize) noexcept {
  volumeSize_.set(volumeSize);
}

std::shared_ptr<OXArchiveSettings::AuxSettings> OXArchiveSettings::auxSettings() const noexcept {
  return ox::getGuarded(lock_, auxSettings_);
}

void OXArchiveSettings::setAuxSettings(std::shared_ptr<AuxSettings> auxSettings) noexcept {
  ox::setGuarded(lock_, auxSettings_, std::move(auxSettings));
}

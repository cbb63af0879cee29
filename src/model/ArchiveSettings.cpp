#include <utility>

#include "OrvexKit/OXArchiveSettings.h"
#include "platform/objects/AtomicString.h"
#include "platform/objects/Wipe.h"

namespace {

struct PasswordInTransit {
  PasswordInTransit(const PasswordInTransit&) = delete;
  PasswordInTransit(PasswordInTransit&&) = delete;
  PasswordInTransit& operator=(const PasswordInTransit&) = delete;
  PasswordInTransit& operator=(PasswordInTransit&&) = delete;
  explicit PasswordInTransit(const OXArchiveSettings& settings) : text(settings.password()) {}
  ~PasswordInTransit() {
    if (text) {
      ox::wipe(*text);
    }
  }

  OXString text;
};

}  // namespace

std::shared_ptr<OXArchiveSettings> OXArchiveSettings::defaultSettings() {
  return std::make_shared<OXArchiveSettings>();
}

OXArchiveSettings::OXArchiveSettings() = default;

OXArchiveSettings::~OXArchiveSettings() = default;

std::shared_ptr<OXArchiveSettings> OXArchiveSettings::copyWithZone() const {
  auto copy = std::make_shared<OXArchiveSettings>();
  copy->setPassword(PasswordInTransit(*this).text);
  copy->setCompressionLevelIndex(compressionLevelIndex());
  copy->setEncryptionIndex(encryptionIndex());
  copy->setVolumeSize(volumeSize());
  copy->setAuxSettings(auxSettings());
  return copy;
}

OXString OXArchiveSettings::password() const {
  return ox::copiedString(password_);
}

void OXArchiveSettings::setPassword(OXStringView password) {
  password_.set(password ? ox::makeWipedString(*password) : nullptr);
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
  return auxSettings_.get();
}

void OXArchiveSettings::setAuxSettings(std::shared_ptr<AuxSettings> auxSettings) noexcept {
  auxSettings_.set(std::move(auxSettings));
}

// SPDX-License-Identifier: MIT

#include "model/UntypedHost.h"

#include <any>
#include <filesystem>
#include <optional>
#include <string_view>

#include "OrvexKit/OrvexKit.h"

#ifdef __cpp_rtti
#error "is to be compiled without run-time type information"
#endif

namespace {

class Format : public OXFormatInfo {};
class TwoRoots : public OXArchiveSettings, public OXFormatInfo {};
class Private : private OXFormatInfo {
 public:
  OXFormatInfo& format() { return *this; }
};
class Object : public OXObject {};

template <typename T>
std::shared_ptr<T> asZip(std::shared_ptr<T> format) {
  format->setName("Zip");
  format->setFormatId(1);
  return format;
}

class Settings : public OXArchiveSettings {
 public:
  OXString password() const override { return "its own"; }
};

class Coder : public OXCoder {
 public:
  bool allowsKeyedCoding() const override { return true; }
  void encodeObjectForKey(const OXValueView& /*object*/, std::string_view /*key*/) override {
    ++written;
  }
  std::optional<OXValue> decodeObjectForKey(std::string_view key) override {
    return key == "fileId" ? std::optional<OXValue>(OXNumber(std::int32_t{5})) : std::nullopt;
  }
  void encodeObject(const OXValueView& /*object*/) override {}
  std::optional<OXValue> decodeObject() override { return std::nullopt; }

  int written = 0;
};

}  // namespace

namespace ox::test {

std::shared_ptr<OXFormatInfo> untypedFormat() {
  return asZip(std::make_shared<Format>());
}

std::shared_ptr<OXFormatInfo> untypedFormatWithTwoRoots() {
  return asZip(std::make_shared<TwoRoots>());
}

std::shared_ptr<OXFormatInfo> untypedPrivateFormat() {
  auto hidden = std::make_shared<Private>();
  OXFormatInfo& format = hidden->format();
  return asZip(std::shared_ptr<OXFormatInfo>(std::move(hidden), &format));
}

const OXObject* otherRootOf(const OXFormatInfo& format) {
  return static_cast<const OXArchiveSettings*>(static_cast<const TwoRoots*>(&format));
}

std::shared_ptr<OXObject> untypedObject() {
  return std::make_shared<Object>();
}

std::string faultOfTheHeaders() {
  Settings settings;
  settings.setAuxSettings(std::make_shared<OXArchiveSettings::AuxSettings>());
  (*settings.auxSettings())["level"] = 9;
  const auto copy = settings.copyWithZone();
  if (copy->password() != "its own" || std::any_cast<int>(copy->auxSettings()->at("level")) != 9) {
    return "settings";
  }
  const auto root = std::make_shared<OXDeltaNode>();
  const auto child = std::make_shared<OXDeltaNode>();
  child->setName("a");
  child->setPhysicalPath(std::filesystem::path("/d"));
  root->addChild(child);
  std::string walked;
  root->traversePathsUsingBlock([&](std::string_view relative, std::string_view disk,
                                    bool /*isFolder*/) { walked.append(relative).append(disk); });
  if (walked != "a/d/a" || root->childNamed("a") != child) {
    return "tree";
  }
  Coder coder;
  OXArchivedFile().encodeWithCoder(coder);
  if (coder.written != 6 || OXArchivedFile::initWithCoder(coder)->fileId() != 5) {
    return "coder";
  }
  OXReleaseScope scope;
  OXReleaseScope::current().defer(std::make_shared<Object>());
  return OXFileUtilAdditions::archiveExtension("a.tar.gz") == "tar.gz" ? "" : "functions";
}

}  // namespace ox::test

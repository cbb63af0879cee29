// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/OXArchivedFile.h>
#include <OrvexKit/platform/OXCoder.h>

#include <cstdint>
#include <string>
#include <variant>

namespace oxarchive {

// An entry of a listing with two fields more than the library's record. Their keys are optional:
// other readers ignore them and other writers omit them.
class ListedFile : public OXArchivedFile {
 public:
  std::uint32_t mode = 0;  // type and permissions as in `stat`; 0 if unknown
  std::string linkTarget;  // of a symbolic link; of a hard link the path of another entry

  void encodeWithCoder(OXCoder& coder) const override {
    OXArchivedFile::encodeWithCoder(coder);
    coder.encodeObjectForKey(OXNumber(mode), modeKey);
    if (!linkTarget.empty()) {
      coder.encodeObjectForKey(std::string_view(linkTarget), linkKey);
    }
  }

  bool decodeWithCoder(OXCoder& coder) override {
    const std::optional<OXValue> modeValue = coder.decodeObjectForKey(modeKey);
    const std::optional<OXValue> linkValue = coder.decodeObjectForKey(linkKey);
    const auto* const number = modeValue ? std::get_if<OXNumber>(&*modeValue) : nullptr;
    const auto* const text = linkValue ? std::get_if<std::string>(&*linkValue) : nullptr;
    mode = number != nullptr ? number->unsigned32Value() : 0;
    linkTarget = text != nullptr ? *text : "";
    return OXArchivedFile::decodeWithCoder(coder);
  }

 private:
  static constexpr std::string_view modeKey = "mode";
  static constexpr std::string_view linkKey = "linkTarget";
};

}  // namespace oxarchive

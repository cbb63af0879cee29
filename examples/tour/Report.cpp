// SPDX-License-Identifier: MIT

#include "tour/Report.h"

#include <optional>
#include <string>
#include <variant>

namespace tour {

void Report::encodeWithCoder(OXCoder& coder) const {
  OXArchivedFile::encodeWithCoder(coder);
  coder.encodeObjectForKey(OXNumber(written), "written");
  if (failure) {
    coder.encodeObjectForKey(*failure, "failure");
  }
}

bool Report::decodeWithCoder(OXCoder& coder) {
  const std::optional<OXValue> number = coder.decodeObjectForKey("written");
  const std::optional<OXValue> text = coder.decodeObjectForKey("failure");
  if (!number || !std::holds_alternative<OXNumber>(*number) ||
      (text && !std::holds_alternative<std::string>(*text)) ||
      !OXArchivedFile::decodeWithCoder(coder)) {
    return false;
  }
  written = std::get<OXNumber>(*number).unsigned64Value();
  failure = text ? OXString(std::get<std::string>(*text)) : std::nullopt;
  return true;
}

}  // namespace tour

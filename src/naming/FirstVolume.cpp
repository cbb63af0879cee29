// SPDX-License-Identifier: MIT

#include "OrvexKit/OXFileUtil.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/files/Files.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

namespace ox {
namespace {

// The parts of a first volume's path: a prefix of the given path, the number 1 in `digits` digits
// (none if 0), and the ending.
struct FirstVolume {
  std::string_view shared;
  std::size_t digits;
  std::string_view ending;
};

std::optional<FirstVolume> firstVolumeOf(std::string_view path) noexcept {
  const auto [rest, extension] = path::splitExtension(path);
  const std::string_view inner = path::extension(rest);
  if (extension == "rar") {
    // "name.partN.rar". The characters after "part" are counted, not parsed.
    constexpr std::string_view part = "part";
    if (!inner.starts_with(part) || inner.size() == part.size()) {
      return std::nullopt;
    }
    const std::size_t digits = inner.size() - part.size();
    return FirstVolume{rest.substr(0, rest.size() - digits), digits, ".rar"};
  }
  if (extension.empty() || !std::ranges::all_of(extension.substr(1), path::isDigit)) {
    return std::nullopt;
  }
  const std::string_view upToDot = path.substr(0, rest.size() + 1);
  if (path::isDigit(extension.front()) && !inner.empty()) {
    return FirstVolume{upToDot, extension.size(), ""};  // "name.ext.001"
  }
  if (extension.front() == 'r') {
    return FirstVolume{upToDot, 0, "rar"};  // "name.r00"
  }
  return std::nullopt;
}

void appendFirstNumber(std::string& text, std::size_t digits) {
  text.append(digits, '0');
  if (digits > 0) {
    text.back() = '1';
  }
}

std::string firstVolumeOrPath(std::string_view path) {
  std::string answer;
  answer.reserve(path.size() + 2);  // one allocation: at most 2 bytes longer, "x.r" => "x.rar"
  if (const std::optional<FirstVolume> volume = firstVolumeOf(path)) {
    answer = volume->shared;
    appendFirstNumber(answer, volume->digits);
    answer += volume->ending;
    if (answer == path || files::itemExists(PathBuffer(answer))) {
      return answer;
    }
  }
  answer = path;
  return answer;
}

}  // namespace
}  // namespace ox

OXString OXGetFirstArchiveVolumePath(OXStringView path) {
  return ox::orBadAlloc(
      [path] { return path ? OXString(ox::firstVolumeOrPath(*path)) : std::nullopt; });
}

OXString _OXFirstArchiveVolumeExtension(OXUnsignedWord digits) {
  return ox::orBadAlloc([digits] {
    OXString number(std::in_place);
    ox::appendFirstNumber(*number, digits);
    return number;
  });
}

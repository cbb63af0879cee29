#include "OrvexKit/OXFileUtil.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/files/Files.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

namespace ox {
namespace {

// What the first volume's path has after the part that it shares with the given one: some text,
// then a number `digits` wide (none when 0), then some text.
struct FirstVolumeEnding {
  std::string_view shared;
  std::string_view beforeNumber;
  std::size_t digits;
  std::string_view afterNumber;
};

// "name.partN.rar". The characters after "part" are counted, not read.
std::optional<FirstVolumeEnding> partVolume(std::string_view withoutRar) noexcept {
  const auto [base, inner] = path::splitExtension(withoutRar);
  constexpr std::string_view part = "part";
  if (!inner.starts_with(part) || inner.size() == part.size()) {
    return std::nullopt;
  }
  return FirstVolumeEnding{base, ".part", inner.size() - part.size(), ".rar"};
}

// "name.ext.001" and "name.r00".
std::optional<FirstVolumeEnding> numberedVolume(std::string_view base,
                                                std::string_view extension) noexcept {
  if (std::ranges::all_of(extension, path::isDigit)) {
    if (path::extension(base).empty()) {
      return std::nullopt;
    }
    return FirstVolumeEnding{base, ".", extension.size(), ""};
  }
  if (extension.front() == 'r' && std::ranges::all_of(extension.substr(1), path::isDigit)) {
    return FirstVolumeEnding{base, ".rar", 0, ""};
  }
  return std::nullopt;
}

std::optional<FirstVolumeEnding> firstVolumeOf(std::string_view path) noexcept {
  const auto [rest, extension] = path::splitExtension(path);
  if (extension.empty()) {
    return std::nullopt;
  }
  return extension == "rar" ? partVolume(rest) : numberedVolume(rest, extension);
}

void appendFirstNumber(std::string& text, std::size_t digits) {
  if (digits > 0) {
    text.append(digits - 1, '0');
    text += '1';
  }
}

std::string firstVolumeOrPath(std::string_view path) {
  std::string answer;
  if (const std::optional<FirstVolumeEnding> ending = firstVolumeOf(path)) {
    // Room for either answer, so that one allocation does for both.
    answer.reserve(std::max(path.size(), ending->shared.size() + ending->beforeNumber.size() +
                                             ending->digits + ending->afterNumber.size()));
    answer = ending->shared;
    answer += ending->beforeNumber;
    appendFirstNumber(answer, ending->digits);
    answer += ending->afterNumber;
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
    std::string number;
    number.reserve(digits);
    ox::appendFirstNumber(number, digits);
    return OXString(std::move(number));
  });
}

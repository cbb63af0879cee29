// SPDX-License-Identifier: MIT

#include "support/PlainNaming.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "support/PlainPath.h"

namespace ox::test::plain {
namespace {

FirstVolume partVolume(const std::string& path) {
  const std::string once = deletingExtension(path);
  const std::string inner = extension(once);
  const bool beginsWithPart =
      inner.size() >= 4 && inner[0] == 'p' && inner[1] == 'a' && inner[2] == 'r' && inner[3] == 't';
  if (!beginsWithPart) {
    return {FirstVolume::rarWithoutPart, path};
  }
  if (inner.size() < 5) {
    return {FirstVolume::rarWithBarePart, path};
  }
  const std::string base = deletingExtension(once);
  return {FirstVolume::rarWithPart, base + ".part" + firstNumber(inner.size() - 4) + ".rar"};
}

std::size_t digitsAtTheEnd(const std::string& text) {
  std::size_t passed = 0;
  while (passed < text.size()) {
    const char c = text[text.size() - 1 - passed];
    if (c < '0' || c > '9') {
      break;
    }
    ++passed;
  }
  return passed;
}

using Components = std::vector<std::string>;

Components split(const std::string& path) {
  Components components(1);
  for (const char c : path) {
    if (c == '/') {
      components.emplace_back();
    } else {
      components.back() += c;
    }
  }
  return components;
}

std::string joinFrom(const Components& components, std::size_t first) {
  std::string path;
  for (std::size_t i = first; i < components.size(); ++i) {
    path += (i == first ? "" : "/") + components[i];
  }
  return path;
}

bool startsWith(const Components& components, const Components& start, std::size_t count) {
  return components.size() >= count &&
         std::equal(start.begin(), start.begin() + static_cast<std::ptrdiff_t>(count),
                    components.begin());
}

}  // namespace

ArchiveExtension archiveExtension(const std::string& path) {
  std::string extension = plain::extension(path);
  if (extension.empty()) {
    return {ArchiveExtension::noExtension, ""};
  }
  const std::string inner = plain::extension(deletingExtension(path));
  if (inner.empty()) {
    return {ArchiveExtension::noInnerExtension, std::move(extension)};
  }
  const bool isTar = inner.size() == 3 && (inner[0] == 't' || inner[0] == 'T') &&
                     (inner[1] == 'a' || inner[1] == 'A') && (inner[2] == 'r' || inner[2] == 'R');
  if (isTar) {
    return {ArchiveExtension::afterTar, "tar." + extension};
  }
  return {ArchiveExtension::otherInnerExtension, std::move(extension)};
}

std::string deletingArchiveExtension(const std::string& path) {
  const std::size_t extensionLength = archiveExtension(path).extension.size();
  const std::size_t length = path.size();
  std::string base = path;
  if (extensionLength != 0 && length - 1 > extensionLength) {
    while (base.size() > length - 1 - extensionLength) {
      base.pop_back();
    }
  }
  return base;
}

FirstVolume firstVolume(const std::string& path) {
  const std::string extension = plain::extension(path);
  if (extension.empty()) {
    return {FirstVolume::noExtension, path};
  }
  if (extension == "rar") {
    return partVolume(path);
  }
  const std::string base = deletingExtension(path);
  const std::size_t digits = digitsAtTheEnd(extension);
  if (digits == extension.size()) {
    if (plain::extension(base).empty()) {
      return {FirstVolume::digitsWithoutInner, path};
    }
    return {FirstVolume::digitsWithInner, base + "." + firstNumber(extension.size())};
  }
  if (digits + 1 == extension.size()) {
    if (extension[0] == 'r') {
      return {FirstVolume::rAndDigits, base + ".rar"};
    }
    return {FirstVolume::otherCharacterAndDigits, path};
  }
  return {FirstVolume::noScheme, path};
}

std::string firstNumber(std::size_t width) {
  std::string number;
  while (number.size() + 1 < width) {
    number += '0';
  }
  return number + '1';
}

std::string removingAncestor(const std::string& path, const std::string& ancestor) {
  const Components all = split(path);
  const Components above = split(ancestor);
  if (ancestor.empty()) {
    return path;
  }
  if (startsWith(all, above, above.size())) {
    return joinFrom(all, above.size());
  }
  // A slash at the end of the ancestor separates it from the next component.
  if (above.back().empty() && startsWith(all, above, above.size() - 1) &&
      all.size() >= above.size()) {
    return joinFrom(all, above.size() - 1);
  }
  return path;
}

}  // namespace ox::test::plain

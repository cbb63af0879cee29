// The two halves of an archive's name, as views into it.

#pragma once

#include <string>
#include <string_view>

namespace ox {

// An archive extension. Its text is not always a part of the name, because "tar." is written in
// lower case whatever the name has.
struct ArchiveExtension {
  std::string_view extension;
  bool followsTar;

  std::size_t length() const noexcept {
    return extension.size() + (followsTar ? tarPrefix.size() : 0);
  }
  void appendTo(std::string& text) const {
    if (followsTar) {
      text += tarPrefix;
    }
    text += extension;
  }

  static constexpr std::string_view tarPrefix = "tar.";
};

ArchiveExtension archiveExtension(std::string_view path) noexcept;

std::string_view deletingArchiveExtension(std::string_view path) noexcept;

}  // namespace ox

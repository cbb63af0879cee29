// The two halves of an archive's name, as views into it.

#pragma once

#include <string>
#include <string_view>

namespace ox {

// An archive extension. In its text a "tar." is in lower case, however the name has it.
struct ArchiveExtension {
  std::string_view inName;  // as the name has it
  bool startsWithTar;

  std::size_t length() const noexcept { return inName.size(); }
  void appendTo(std::string& text) const {
    const std::size_t start = text.size();
    text += inName;
    if (startsWithTar) {
      tar.copy(&text[start], tar.size());
    }
  }

  static constexpr std::string_view tar = "tar";
};

ArchiveExtension archiveExtension(std::string_view path) noexcept;

std::string_view deletingArchiveExtension(std::string_view path) noexcept;

}  // namespace ox

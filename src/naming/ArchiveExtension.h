// The two halves of an archive's name, as views into it.

#pragma once

#include <string_view>

namespace ox {

// An archive extension, in two parts that follow each other.
struct ArchiveExtension {
  std::string_view tar;  // "tar." or nothing: in lower case, however the name has it
  std::string_view last;

  std::size_t length() const noexcept { return tar.size() + last.size(); }
};

ArchiveExtension archiveExtension(std::string_view path) noexcept;

std::string_view deletingArchiveExtension(std::string_view path) noexcept;

}  // namespace ox

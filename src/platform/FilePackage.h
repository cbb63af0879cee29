// File packages: folders that desktops which know them show as one document.

#pragma once

#include <string_view>

#include "platform/PathBuffer.h"

namespace ox {

// Whether a folder of this name would be shown as a package, by its extension in any case.
//   "Tool.app" => true   "Tool.APP" => true   "notes.zip" => false   ".app" => false
bool hasPackageExtension(std::string_view name) noexcept;

// Whether `path` is a folder, or leads to one, and is shown as a package.
bool isFilePackage(const PathBuffer& path) noexcept;

}  // namespace ox

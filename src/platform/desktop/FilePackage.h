// File packages: folders that desktops which know them show as one document.

#pragma once

#include <string_view>

namespace ox {

// Whether a folder of this name would be shown as a package, by its extension in any case.
//   "Tool.app" => true   "Tool.APP" => true   "notes.zip" => false   ".app" => false
bool hasPackageExtension(std::string_view name) noexcept;

}  // namespace ox

// SPDX-License-Identifier: MIT

#include "platform/desktop/Desktop.h"

#include <algorithm>
#include <array>

#include "platform/files/Path.h"

namespace ox {
namespace {

// In lower case, grouped by origin.
constexpr auto packageExtensions = std::to_array<std::string_view>(
    {// Programs, libraries and plug-ins: the bundles of macOS and GNUstep.
     "app", "appex", "bundle", "component", "kext", "mdimporter", "plugin", "prefpane",
     "qlgenerator", "saver", "service", "wdgt", "xpc",
     // Installer packages of macOS.
     "mpkg", "pkg",
     // Documents of programs that come with macOS.
     "action", "dictionary", "download", "lpdf", "photoslibrary", "rtfd", "scptd", "sparsebundle",
     "webarchivebundle", "workflow",
     // Folders of its developer tools.
     "docset", "dsym", "nib", "playground", "xcarchive", "xcodeproj", "xcworkspace",
     // Documents of its office and media programs.
     "band", "fcpbundle", "imovielibrary", "key", "logicx", "numbers", "pages",
     // Application folders of the ROX desktop, and of the image format derived from it.
     "appdir"});

}  // namespace

bool hasPackageExtension(std::string_view name) noexcept {
  const std::string_view extension = path::extension(name);
  return std::ranges::any_of(packageExtensions, [extension](std::string_view known) {
    return path::equalIgnoringCase(extension, known);
  });
}

}  // namespace ox

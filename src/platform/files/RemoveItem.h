// SPDX-License-Identifier: MIT

// Removal of a whole folder.

#pragma once

#include "platform/files/PathBuffer.h"

namespace ox::files {

// Removes the item with everything in it. Follows no symbolic link. Empties the user's own folders
// whatever their permissions. Items that vanish meanwhile count as removed. Uses a limited number
// of descriptors and limited stack, at any depth, and gives up if others keep filling the folder.
// Returns false if anything is left, or if the path does not end in a name.
bool removeItem(const PathBuffer& path) noexcept;

}  // namespace ox::files

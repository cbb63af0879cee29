// Removal of a whole folder.

#pragma once

#include "platform/files/PathBuffer.h"

namespace ox::files {

// Removes the item with everything in it. No link is followed, a folder that the user owns is
// emptied whatever its permissions, and what vanishes meanwhile counts as removed. Takes a bounded
// number of descriptors and a bounded stack, however deep the folder is, and gives up where others
// go on filling it. False when something of it is left, and for a path that does not end in a name.
bool removeItem(const PathBuffer& path) noexcept;

}  // namespace ox::files

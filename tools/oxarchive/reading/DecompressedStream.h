// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

#include "volumes/ByteSource.h"
#include "volumes/VolumeStream.h"

namespace oxarchive {

// The decompressed contents of `volumes`, such as the tar archive in "photos.tar.gz". Null if they
// are not compressed: then `volumes` is at its start again, and can be read and sought directly.
// The checksums of the compression are verified when the result is read to its end.
std::unique_ptr<ByteSource> decompressed(VolumeStream& volumes);

}  // namespace oxarchive

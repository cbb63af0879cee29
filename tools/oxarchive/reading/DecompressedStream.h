#pragma once

#include <memory>

#include "volumes/ByteSource.h"
#include "volumes/VolumeStream.h"

namespace oxarchive {

// What `volumes` hold, freed from the compression around it, as that of "photos.tar.gz". Null when
// there is none: `volumes` stands at its start then, and is to be read itself, since a stream that
// was decompressed cannot be sought in. The compression's own checks are made when the result is
// read to its end.
std::unique_ptr<ByteSource> decompressed(VolumeStream& volumes);

}  // namespace oxarchive

// SPDX-License-Identifier: MIT

// Checks of a record that was decoded from arbitrary bytes.

#pragma once

#include <OrvexKit/OXArchivedFile.h>
#include <OrvexKit/platform/OXCBORCoder.h>

#include <cmath>
#include <cstddef>
#include <optional>
#include <span>

#include "Require.h"

namespace ox::fuzz {

inline bool isNotATime(std::optional<OXDate> date) {
  return date && std::isnan(date->time_since_epoch().count());
}

inline bool sameTime(std::optional<OXDate> a, std::optional<OXDate> b) {
  return a == b || (isNotATime(a) && isNotATime(b));
}

// Decoding a record sets its path, and setting a path removes one slash from its end.
inline OXString pathReadAgain(const OXString& path) {
  return path && path->ends_with('/') ? path->substr(0, path->size() - 1) : path;
}

inline void requireSame(const OXArchivedFile& decoded, const OXArchivedFile& again) {
  require(again.path() == pathReadAgain(decoded.path()), "path");
  require(sameTime(again.modificationTime(), decoded.modificationTime()), "modificationTime");
  require(again.actualSize() == decoded.actualSize(), "actualSize");
  require(again.compressedSize() == decoded.compressedSize(), "compressedSize");
  require(again.checksum() == decoded.checksum(), "checksum");
  require(again.fileId() == decoded.fileId(), "fileId");
  require(again.isFolder() == decoded.isFolder(), "isFolder");
  require(again.isEncrypted() == decoded.isEncrypted(), "isEncrypted");
}

// Decodes a record; on success, encodes and decodes it again in both modes.
inline void roundTrip(std::span<const std::byte> bytes, OXCBORMode mode) {
  const auto decoded = OXCBORDecodeRecord<OXArchivedFile>(bytes, mode);
  if (!decoded) {
    return;
  }
  require(decoded->description() == "[Archived File] : " + decoded->path().value_or("(null)"),
          "description");
  for (const OXCBORMode writing : {OXCBORMode::keyed, OXCBORMode::sequential}) {
    OXCBOREncoder encoder(writing);
    decoded->encodeWithCoder(encoder);
    for (const auto written : {encoder.bytes(), encoder.item()}) {
      const auto again = OXCBORDecodeRecord<OXArchivedFile>(written, writing);
      // The root's path "/" is stored as "", which a setter refuses.
      require((again == nullptr) == (decoded->path() == ""), "decoded again");
      if (again) {
        requireSame(*decoded, *again);
      }
    }
  }
}

inline std::span<const std::byte> asBytes(const unsigned char* data, std::size_t size) {
  return std::as_bytes(std::span(data, size));
}

}  // namespace ox::fuzz

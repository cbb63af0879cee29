// SPDX-License-Identifier: MIT

#include "OrvexKit/OXArchivedFile.h"

#include <bit>
#include <limits>
#include <stdexcept>

#include "platform/objects/BadAlloc.h"

namespace ox {
namespace {

// How long `path` is without the one slash at its end.
std::size_t lengthToKeep(std::string_view path) {
  if (path.empty()) {
    throw std::out_of_range("OXArchivedFile: an empty path has no last character");
  }
  return path.size() - (path.ends_with('/') ? 1 : 0);
}

}  // namespace
}  // namespace ox

OXArchivedFile::OXArchivedFile() = default;
OXArchivedFile::~OXArchivedFile() = default;

void OXArchivedFile::setPath(OXStringView path) {
  if (path) {
    const std::string_view kept = path->substr(0, ox::lengthToKeep(*path));
    // Into the memory that the old path leaves, if it had any.
    ox::orBadAlloc([&] { path_ = kept; });
  } else {
    path_.reset();
  }
}

void OXArchivedFile::adoptPath(OXString&& path) {
  if (path) {
    path->resize(ox::lengthToKeep(*path));
  }
  path_ = std::move(path);
}

void OXArchivedFile::setModificationTime(std::optional<OXDate> modificationTime) noexcept {
  std::uint64_t bits = noDate;
  if (modificationTime) {
    bits = std::bit_cast<std::uint64_t>(modificationTime->time_since_epoch().count());
    if (bits == noDate) {
      bits = std::bit_cast<std::uint64_t>(std::numeric_limits<double>::quiet_NaN());
    }
  }
  modificationTime_.set(bits);
}

OXString OXArchivedFile::description() const {
  return ox::orBadAlloc([this] { return "[Archived File] : " + path_.value_or("(null)"); });
}

const OXArchivedFile* OXArchivedFile::replacementObjectForPortCoder(OXPortCoder& coder) const {
  return coder.isByref() ? nullptr : this;
}

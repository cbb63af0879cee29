// SPDX-License-Identifier: MIT

// What a worker tells the program that started it.

#pragma once

#include <OrvexKit/OXArchivedFile.h>

#include <cstdint>

namespace tour {

// An entry of the archive, with two more fields. It is coded as the entry is, and they come after.
class Report : public OXArchivedFile {
 public:
  // While the archive is extracted: how many bytes have been written so far, in all files.
  std::uint64_t written = 0;
  // Why the entry, or the archive from here on, could not be read or written; else null.
  OXString failure;

  void encodeWithCoder(OXCoder& coder) const override;
  bool decodeWithCoder(OXCoder& coder) override;
};

}  // namespace tour

// SPDX-License-Identifier: MIT

// The exceptions of the program. Their texts are complete reasons for the user, without the name of
// the archive; file names in them are already printable.

#pragma once

#include <cstring>
#include <stdexcept>
#include <string>

namespace oxarchive {

// The command line is invalid.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The archive cannot be opened, or not be read or written any further.
struct ArchiveFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One entry cannot be extracted; those after it can.
struct EntryFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The same, because it is encrypted and cannot be decrypted.
struct EncryptedEntry : EntryFailure {
  using EntryFailure::EntryFailure;
};

// "REASON: ", then the system's text for `error`.
inline std::string withSystemReason(const std::string& reason, int error) {
  return reason + ": " + std::strerror(error);
}

}  // namespace oxarchive

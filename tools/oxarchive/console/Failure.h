// The exceptions of the program. Their texts are complete reasons for the user, without the name of
// the archive; file names in them are already printable.

#pragma once

#include <cstring>
#include <stdexcept>
#include <string>

namespace oxarchive {

// The command line is invalid.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The archive cannot be opened, or not be read or written any further.
class ArchiveFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The archive is encrypted and cannot be decrypted.
class EncryptedArchive : public ArchiveFailure {
 public:
  using ArchiveFailure::ArchiveFailure;
};

// One entry cannot be extracted; those after it can.
class EntryFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The same, because it is encrypted and cannot be decrypted.
class EncryptedEntry : public EntryFailure {
 public:
  using EntryFailure::EntryFailure;
};

// "REASON: ", then the system's text for `error`.
inline std::string withSystemReason(const std::string& reason, int error) {
  return reason + ": " + std::strerror(error);
}

}  // namespace oxarchive

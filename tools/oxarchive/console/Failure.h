// How the program's parts tell that something cannot be done. The texts are whole reasons for the
// user, without the name of the archive; names of files in them are printable already.

#pragma once

#include <cstring>
#include <stdexcept>
#include <string>

namespace oxarchive {

// The command line makes no sense.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The archive cannot be opened, or not be read or written out any further.
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

// The same, since it is encrypted and cannot be decrypted.
class EncryptedEntry : public EntryFailure {
 public:
  using EntryFailure::EntryFailure;
};

// "REASON: what the system says of `error`".
inline std::string withSystemReason(const std::string& reason, int error) {
  return reason + ": " + std::strerror(error);
}

}  // namespace oxarchive

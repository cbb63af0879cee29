// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXString.h>

#include <string>

namespace oxarchive {

// The source of a password: never the command line itself, which every user of the machine can see.
struct PasswordSource {
  enum class Kind { none, terminal, file, environment };
  Kind kind = Kind::none;
  std::string name{};  // of a file ("-" is standard input) or an environment variable
};

// The password, which is not empty; null if none is wanted. On a terminal a new password is asked
// for twice. Throws std::runtime_error with the reason if it cannot be read.
OXString readPassword(const PasswordSource& source, bool isNew);

}  // namespace oxarchive

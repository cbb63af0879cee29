#pragma once

#include <OrvexKit/platform/OXString.h>

#include <string>

namespace oxarchive {

// Where a password comes from. Never from the command line itself, which every user of the machine
// can see.
struct PasswordSource {
  enum class Kind { none, terminal, file, environment };
  Kind kind = Kind::none;
  std::string name{};  // of a file ("-" is standard input) or an environment variable
};

// The password, which is not empty; null when there is to be none. On a terminal a new one is asked
// for twice. Throws std::runtime_error with the reason when it cannot be had.
OXString readPassword(const PasswordSource& source, bool isNew);

}  // namespace oxarchive

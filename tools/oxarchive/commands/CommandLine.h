#pragma once

#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "console/Console.h"
#include "console/Password.h"
#include "system/Limits.h"

namespace oxarchive {

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ExtractOptions {
  std::vector<std::string> archives;  // at least one
  std::optional<std::string> into;    // not empty
  bool isTrashing = false;            // of the archives that were extracted
  PasswordSource password;
  Limits limits;
};

struct ListOptions {
  std::string archive;
  PasswordSource password;
  Limits limits;
};

struct CreateOptions {
  std::string archive;             // not empty
  std::vector<std::string> paths;  // at least one, none of them empty
  std::optional<std::string> level;
  std::optional<std::string> method;
  PasswordSource password;
};

// Does what the user wants; true when all of it was done.
using Command = std::function<bool(Console&)>;

// What to do. Throws UsageError.
Command parseCommandLine(std::span<const char* const> arguments);

extern const char* const helpText;

}  // namespace oxarchive

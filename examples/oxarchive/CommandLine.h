#pragma once

#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace oxarchive {

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ExtractOptions {
  std::vector<std::string> archives;  // at least one
  std::optional<std::string> into;    // not empty
};

struct ListOptions {
  std::string archive;
};

// What `list` has another process do.
struct ListWorkerOptions {
  std::string archive;
};

struct HelpOptions {};

using Command = std::variant<HelpOptions, ExtractOptions, ListOptions, ListWorkerOptions>;

// What to do. Throws UsageError.
Command parseCommandLine(std::span<const char* const> arguments);

extern const char* const helpText;

}  // namespace oxarchive

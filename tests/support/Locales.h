// Locales that a test makes for itself, since a system may have none but C.

#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ox::test {

class Locales {
 public:
  using Environment = std::vector<std::pair<std::string, std::optional<std::string>>>;

  // Keeps them in a new folder in `folder`, and removes it in the end.
  explicit Locales(const std::string& folder) : folder_(folder + "/locales") {}
  ~Locales();
  Locales(const Locales&) = delete;
  Locales& operator=(const Locales&) = delete;

  // Makes "language.encoding" of the system's sources, or with a table of characters of the test's
  // own; false when it has none.
  bool make(const std::string& language, const std::string& encoding) const;
  bool make(const std::string& language, const std::string& encoding,
            const std::string& charmap) const;

  // What a child process needs to find them, with all categories in the locale `name`.
  Environment environment(const std::string& name) const;

 private:
  std::string folder_;
};

}  // namespace ox::test

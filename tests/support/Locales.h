// SPDX-License-Identifier: MIT

// Locales made by a test, since a system may have only C.

#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ox::test {

class Locales {
 public:
  using Environment = std::vector<std::pair<std::string, std::optional<std::string>>>;

  // Keeps them in a new folder in `folder`, which the destructor removes.
  explicit Locales(const std::string& folder) : folder_(folder + "/locales") {}
  ~Locales();
  Locales(const Locales&) = delete;
  Locales& operator=(const Locales&) = delete;

  // Makes "language.encoding" from the system's sources, or from a character map of the test.
  // Returns false if the system has no sources.
  bool make(const std::string& language, const std::string& encoding) const;
  bool make(const std::string& language, const std::string& encoding,
            const std::string& charmap) const;

  // The environment in which a child process finds them and uses the locale `name` for all
  // categories.
  Environment environment(const std::string& name) const;

  // Whether the machine's own programs can read them, too. They are in the byte order of this one,
  // which differs under an emulator of some processors.
  static bool areForAllPrograms();

 private:
  std::string folder_;
};

}  // namespace ox::test

// SPDX-License-Identifier: MIT

// A folder for a benchmark's items, in the temporary folder.

#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace ox::bench {

// Created by the constructor and removed recursively by the destructor.
class TemporaryWorld {
 public:
  TemporaryWorld() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "orvexkit-bench.XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), pattern);
    }
    folder_ = pattern;
  }
  ~TemporaryWorld() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  TemporaryWorld(const TemporaryWorld&) = delete;
  TemporaryWorld& operator=(const TemporaryWorld&) = delete;

  const std::filesystem::path& folder() const { return folder_; }

 private:
  std::filesystem::path folder_;
};

}  // namespace ox::bench

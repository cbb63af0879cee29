// SPDX-License-Identifier: MIT

// Free names in a folder: the name itself, then the name with a counter.

#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace ox {

// The counter after `counter`: 1, 2, 3, … A signed 32-bit number; the smallest follows the largest.
constexpr std::int32_t nextCounter(std::int32_t counter) noexcept {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(counter) + 1U);
}

// Iterates over the free names among those that `OXSequentiallyUniqueName` tries, in its order. The
// arguments must outlive the object.
class FreeName {
 public:
  FreeName(std::string_view name, std::string_view directory, bool isFolder);

  // Returns `directory` joined with the next free name.
  const std::string& next();

  // Moves out the path that `next` returned last.
  std::string take() noexcept { return std::move(path_); }

 private:
  bool writeNext();
  void writeCounter(std::int32_t counter);
  void listFolder();

  std::string_view name_;
  std::string_view directory_;
  std::string label_;              // what precedes the counter
  std::string afterNumber_ = ")";  // what follows it, with the extension
  std::string path_;               // the current candidate
  std::size_t nameStart_ = 0;      // where its last component starts
  std::size_t numberStart_ = 0;    // where its counter starts
  std::int32_t counter_ = 0;
  // The counters that the folder's listing contains. Larger ones are checked one by one.
  std::optional<std::bitset<std::size_t{1} << 16>> taken_;
};

}  // namespace ox

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

// The counter of a name: 1, 2, 3, … It is a signed 32-bit number, and after the largest comes the
// smallest.
constexpr std::int32_t nextCounter(std::int32_t counter) noexcept {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(counter) + 1U);
}

// Walks over the names that `OXSequentiallyUniqueName` would try, in their order, from one free
// name to the next. The arguments must outlive it.
class FreeName {
 public:
  FreeName(std::string_view name, std::string_view directory, bool isFolder);

  // `directory` joined with the next free name.
  const std::string& next();

  // The path that `next` gave last, to keep.
  std::string take() noexcept { return std::move(path_); }

 private:
  bool writeNext();
  void writeCounter(std::int32_t counter);
  void listFolder();

  std::string_view name_;
  std::string_view directory_;
  std::string label_;              // what is before the counter
  std::string afterNumber_ = ")";  // and the extension
  std::string path_;               // the candidate
  std::size_t nameStart_ = 0;      // where its last component starts
  std::size_t numberStart_ = 0;    // where the counter goes
  std::int32_t counter_ = 0;
  // What a listing of the folder shows, by counter; larger ones are asked for one by one.
  std::optional<std::bitset<std::size_t{1} << 16>> taken_;
};

}  // namespace ox

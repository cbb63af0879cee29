#pragma once

#include <cstdint>
#include <string>

namespace oxarchive {

// `bytes` for people: "1.5 KB". What is beyond the largest signed number is told as that.
std::string sizeText(std::uint64_t bytes);

// "N entries, SIZE"
std::string entriesText(std::uint64_t entries, std::uint64_t bytes);

}  // namespace oxarchive

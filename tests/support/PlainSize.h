// SPDX-License-Identifier: MIT

// A second implementation of the text of a size, with integers only, to compare the library with.

#pragma once

#include <cstdint>
#include <string>

namespace ox::test::plain {

std::string humanReadableSize(std::int64_t size);

}  // namespace ox::test::plain

// A second statement of how a byte count is told, in integers alone, for the tests to hold the
// library's own against.

#pragma once

#include <cstdint>
#include <string>

namespace ox::test::plain {

std::string humanReadableSize(std::int64_t size);

}  // namespace ox::test::plain

// SPDX-License-Identifier: MIT

#pragma once

#include <gmock/gmock.h>

#include <string>

#include "support/Emulator.h"

namespace ox::test {

// Matches the standard error of a process that aborted after it printed `line`, and nothing else.
// An emulator may print a line of its own about the signal.
inline testing::Matcher<const std::string&> abortMessage(const std::string& line) {
  if (isEmulated) {
    return testing::AnyOf(testing::Eq(line), testing::StartsWith(line + "qemu: "));
  }
  return testing::Eq(line);
}

}  // namespace ox::test

// SPDX-License-Identifier: MIT

#pragma once

#include <gmock/gmock.h>

#include <string>

#include "support/Emulator.h"

namespace ox::test {

// Matches the standard error of a process that aborted after it printed `line`, and nothing else.
// An emulator prints a line of its own about the signal.
inline testing::Matcher<const std::string&> abortMessage(const std::string& line) {
  if (isEmulated) {
    return testing::StartsWith(line + "qemu: ");
  }
  return testing::Eq(line);
}

}  // namespace ox::test

// SPDX-License-Identifier: MIT

// Runs the program under test, or another one, as a child process.

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace ox::test {

struct ProgramResult {
  int exitCode = -1;  // -1 if a signal ended it
  int signal = 0;
  std::string output;
  std::string errors;
};

struct ProgramOptions {
  std::string folder{};                     // to run in; "" is the test's current folder
  bool errorsOnTerminal = false;            // standard error is a terminal of 80 columns
  std::function<void()> beforeExec{};       // in the child
  std::function<void(int)> whileRunning{};  // in the test, with the child's id
};

// The program does not inherit the test's ignored signals.
ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const ProgramOptions& options = {});

// Runs `oxarchive`.
ProgramResult oxarchive(const std::vector<std::string>& arguments,
                        const ProgramOptions& options = {});

// In a child process: resets every signal to its default, and blocks none.
void resetSignals();

// Whether a terminal can be opened; some containers do not allow it.
bool hasTerminals();

// The first of these programs that is in PATH; "" if none is.
std::string findProgram(const std::vector<std::string>& names);

}  // namespace ox::test

#define OX_SKIP_WITHOUT_TERMINALS()                   \
  if (!ox::test::hasTerminals()) {                    \
    GTEST_SKIP() << "no terminal can be opened here"; \
  }

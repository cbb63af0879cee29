// Runs the program under test, or another one, as a child process.

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace ox::test {

struct ProgramResult {
  int exitCode = -1;  // -1 when a signal has ended it
  int signal = 0;
  std::string output;
  std::string errors;
};

struct ProgramOptions {
  std::string folder{};                     // to run in; where the test is when empty
  bool errorsOnTerminal = false;            // standard error is a terminal of 80 columns
  std::function<void()> beforeExec{};       // in the child
  std::function<void(int)> whileRunning{};  // in the test, with the child's id
};

// Whatever signals the test ignores, the program does not.
ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const ProgramOptions& options = {});

// `oxarchive` as it was built.
ProgramResult oxarchive(const std::vector<std::string>& arguments,
                        const ProgramOptions& options = {});

// Gives every signal its default disposition, and blocks none, in a child process.
void resetSignals();

// Whether a terminal can be opened, which some containers do not allow.
bool hasTerminals();

// The first of these programs that is in PATH; "" when none is.
std::string findProgram(const std::vector<std::string>& names);

}  // namespace ox::test

#define OX_SKIP_WITHOUT_TERMINALS()                   \
  if (!ox::test::hasTerminals()) {                    \
    GTEST_SKIP() << "no terminal can be opened here"; \
  }

// SPDX-License-Identifier: MIT

// Runs a program to its end: for values that a process initialises once, at first use.

#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ox::test {

struct ChildProcess {
  std::string program;                      // searched in PATH if it has no "/"
  std::vector<std::string> arguments = {};  // without the program's name
  // Changes to this process's environment, in order. A variable without a value is removed.
  std::vector<std::pair<std::string, std::optional<std::string>>> environment = {};
  std::string folder = {};  // to start in, unless empty
};

struct ChildResult {
  int exitCode;        // or the negative number of the signal that ended it
  std::string output;  // standard output; standard error is inherited
};

ChildResult run(const ChildProcess& child);

// Returns the output of a program that must succeed; otherwise fails the test.
std::string outputOf(const ChildProcess& child);

// The same, split into lines.
std::vector<std::string> linesOf(const ChildProcess& child);

}  // namespace ox::test

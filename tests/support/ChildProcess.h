// Runs a program to its end: for what a process decides once, at first use.

#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ox::test {

struct ChildProcess {
  std::string program;                      // looked for in PATH when it has no "/"
  std::vector<std::string> arguments = {};  // without the program's name
  // Changes to this process's environment, in their order; no value removes the variable.
  std::vector<std::pair<std::string, std::optional<std::string>>> environment = {};
  std::string folder = {};  // to start in, unless empty
};

struct ChildResult {
  int exitCode;        // or minus the signal that ended it
  std::string output;  // standard output; errors go where this process's go
};

ChildResult run(const ChildProcess& child);

// The same for a program that has to succeed: fails the test when it does not.
std::string outputOf(const ChildProcess& child);

// Its output, line by line.
std::vector<std::string> linesOf(const ChildProcess& child);

}  // namespace ox::test

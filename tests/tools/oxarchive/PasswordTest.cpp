// SPDX-License-Identifier: MIT

// The sources of passwords, and wrong passwords.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>
#include <vector>

#include "OxarchiveTest.h"

namespace {

using namespace ox::test;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class Passwords : public OxarchiveTest {
 protected:
  ProgramResult run(const std::vector<std::string>& arguments, const ProgramOptions& more = {}) {
    ProgramOptions options = more;
    options.folder = work();
    return oxarchive(arguments, options);
  }

  // "o.zip" with files and a folder and the password "secret".
  void makeArchive() {
    writeArchive(in("o.zip"), {folder("d"), file("f"), file("g")},
                 {.format = ::archive_write_set_format_zip,
                  .options = "encryption=aes256",
                  .passphrase = "secret"});
  }

  void expectExtracted(const ProgramResult& result) {
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(treeOf(in("o")),
              (Tree{{"d", "folder"}, {"f", "file contents"}, {"g", "file contents"}}));
    remove({"o"});
  }
};

TEST_F(Passwords, ComeFromTheFirstLineOfAFile) {
  makeArchive();
  for (const std::string contents : {"secret", "secret\n", "secret\nmore\n"}) {
    writeFile(in("p"), contents);
    expectExtracted(run({"extract", "o.zip", "--password-file", "p"}));
  }
  const ProgramOptions fromStandardInput = {
      .beforeExec = [] { ::dup2(::open("p", O_RDONLY), STDIN_FILENO); }};
  expectExtracted(run({"extract", "--password-file=-", "o.zip"}, fromStandardInput));
  remove({"o.zip", "p"});
}

TEST_F(Passwords, ComeFromTheEnvironment) {
  makeArchive();
  const ScopedEnvironment variable("OX_TEST_PASSWORD", "secret");
  expectExtracted(run({"extract", "o.zip", "--password-env", "OX_TEST_PASSWORD"}));
  remove({"o.zip"});
}

TEST_F(Passwords, ThatCannotBeHadAreTold) {
  struct Row {
    std::string option;
    std::string message;
  };
  const Row rows[] = {
      {"--password-file=missing", "the password file missing cannot be opened: No such file"},
      {"--password-file=.", "the password file . cannot be read: Is a directory"},
      {"--password-file=empty", "the password is empty"},
      {"--password-file=line", "the password is empty"},
      {"--password-file=nul", "the password file nul does not hold a password"},
      {"--password-file=long", "the password file long does not hold a password"},
      {"--password-env=OX_TEST_MISSING", "the environment variable OX_TEST_MISSING is not set"},
      {"--password-env=OX_TEST_EMPTY", "the password is empty"},
  };
  makeArchive();
  writeFile(in("empty"));
  writeFile(in("line"), "\nsecret\n");
  writeFile(in("nul"), std::string("secr\0et", 7));
  writeFile(in("long"), std::string(1025, 'x'));
  const ScopedEnvironment empty("OX_TEST_EMPTY", "");
  const std::vector<std::string> before = names();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.option);
    for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
             {"extract", "o.zip"}, {"list", "o.zip"}, {"create", "n.zip", "line"}}) {
      std::vector<std::string> arguments = command;
      arguments.push_back(row.option);
      const ProgramResult result = run(arguments);
      EXPECT_EQ(result.exitCode, 1);
      EXPECT_EQ(result.output, "");
      EXPECT_THAT(result.errors, HasSubstr("oxarchive: " + row.message));
      EXPECT_EQ(names(), before);
    }
  }
  remove(before);
}

TEST_F(Passwords, ThatAreWrongLeaveNothing) {
  writeFile(in("p"), "wrong\n");
  for (const std::string method : {"aes128", "aes256"}) {
    writeArchive(in("o.zip"), {folder("d"), file("plain", ""), file("f")},
                 {.format = ::archive_write_set_format_zip,
                  .options = "encryption=" + method,
                  .passphrase = "secret"});
    const ProgramResult result = run({"extract", "o.zip", "--password-file", "p"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "oxarchive: o.zip: the password is wrong\n");
    EXPECT_EQ(names(), (std::vector<std::string>{"o.zip", "p"}));
  }
  remove({"o.zip", "p"});
}

TEST_F(Passwords, DoNoHarmWhereNoneIsNeeded) {
  writeArchive(in("o.tar"), {folder("d"), file("f"), file("g")});
  const ScopedEnvironment variable("OX_TEST_PASSWORD", "secret");
  expectExtracted(run({"extract", "o.tar", "--password-env", "OX_TEST_PASSWORD"}));
  makeArchive();
  const ProgramResult without = run({"list", "o.zip"});
  EXPECT_EQ(without.exitCode, 0);
  EXPECT_THAT(without.output, HasSubstr("\n-e "));
  EXPECT_EQ(run({"list", "o.zip", "--password-env", "OX_TEST_PASSWORD"}).output, without.output);
  remove({"o.tar", "o.zip"});
}

struct TerminalResult {
  int exitCode;
  std::string shown;
};

// Runs the program on a new terminal and types `lines`, each after a prompt that ends in "in: " or
// "word: ".
TerminalResult runOnTerminal(const std::string& folder, std::vector<std::string> arguments,
                             const std::vector<std::string>& lines) {
  int terminal = -1;
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    resetSignals();
    arguments.insert(arguments.begin(), OXARCHIVE_PROGRAM);
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
      argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    if (::chdir(folder.c_str()) == 0) {
      ::execv(argv.front(), argv.data());
    }
    ::_exit(127);
  }
  TerminalResult result{};
  std::size_t typed = 0;
  std::array<char, 4096> buffer{};
  ssize_t count = 0;
  while ((count = ::read(terminal, buffer.data(), buffer.size())) > 0) {
    result.shown.append(buffer.data(), static_cast<std::size_t>(count));
    if (result.shown.ends_with(": ") && typed < lines.size()) {
      const std::string line = lines[typed++] + "\n";
      EXPECT_EQ(::write(terminal, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  ::close(terminal);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return result;
}

TEST_F(Passwords, AreAskedForOnTheTerminalAndNotShown) {
  OX_SKIP_WITHOUT_TERMINALS();
  const ScopedEnvironment terminal("TERM", "dumb");
  writeFile(in("f"), "contents");
  const TerminalResult created =
      runOnTerminal(work(), {"create", "o.zip", "f", "--password"}, {"secret", "secret"});
  EXPECT_EQ(created.exitCode, 0);
  EXPECT_THAT(created.shown, StartsWith("Password: \r\nPassword again: \r\no.zip: 1 "));
  const TerminalResult extracted =
      runOnTerminal(work(), {"extract", "o.zip", "--password"}, {"secret"});
  EXPECT_EQ(extracted.exitCode, 0);
  EXPECT_EQ(extracted.shown, "Password: \r\no.zip -> o: 1 entry, 8 B\r\n");
  EXPECT_EQ(treeOf(in("o")), (Tree{{"f", "file contents"}}));
  remove({"o.zip", "o", "f"});
}

TEST_F(Passwords, HaveToBeTypedTwiceAlike) {
  OX_SKIP_WITHOUT_TERMINALS();
  writeFile(in("f"), "contents");
  const TerminalResult result =
      runOnTerminal(work(), {"create", "o.zip", "f", "--password"}, {"secret", "secrte"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.shown, EndsWith("oxarchive: the two passwords differ\r\n"));
  EXPECT_EQ(names(), (std::vector<std::string>{"f"}));
  remove({"f"});
}

TEST_F(Passwords, MayBeInterruptedWhileTheyAreAskedFor) {
  OX_SKIP_WITHOUT_TERMINALS();
  writeFile(in("f"), "contents");
  const TerminalResult result =
      runOnTerminal(work(), {"create", "o.zip", "f", "--password"}, {"\x03"});
  EXPECT_EQ(result.exitCode, -SIGINT);
  // The terminal may discard output while it is interrupted.
  EXPECT_THAT(result.shown, StartsWith("Password: "));
  EXPECT_EQ(names(), (std::vector<std::string>{"f"}));
  remove({"f"});
}

TEST_F(Passwords, AreNotAskedForWithoutATerminal) {
  writeFile(in("f"), "contents");
  const ProgramResult result =
      run({"create", "o.zip", "f", "--password"}, {.beforeExec = [] { ::setsid(); }});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors, "oxarchive: there is no terminal to ask for a password on\n");
  remove({"f"});
}

}  // namespace

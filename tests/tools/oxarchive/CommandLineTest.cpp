// SPDX-License-Identifier: MIT

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "OxarchiveTest.h"

namespace {

using namespace ox::test;
using testing::MatchesRegex;
using testing::PrintToString;

class CommandLine : public OxarchiveTest {};

TEST_F(CommandLine, HelpGoesToStandardOutput) {
  const std::vector<std::vector<std::string>> rows = {
      {"--help"},
      {"-h"},
      {"extract", "--help"},
      {"create", "--help"},
      {"extract", "a.zip", "--help"},
      {"--help", "nonsense"},
  };
  for (const std::vector<std::string>& arguments : rows) {
    SCOPED_TRACE(PrintToString(arguments));
    const ProgramResult result = oxarchive(arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.output.starts_with("Usage: oxarchive extract ARCHIVE... [--into DIR] "));
    EXPECT_NE(result.output.find("An interrupted extraction keeps"), std::string::npos);
    EXPECT_NE(result.output.find("\n  -h, --help "), std::string::npos);
    EXPECT_NE(result.output.find("Exit status"), std::string::npos);
    EXPECT_EQ(result.errors, "");
  }
}

TEST_F(CommandLine, TellsTheVersionsOfTheProgramAndItsLibraries) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--version"}, {"list", "--version"}}) {
    const ProgramResult result = oxarchive(arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, MatchesRegex("oxarchive [0-9.]+\nOrvexKit [0-9.]+\nlibarchive "
                                            "[0-9.]+.*\n"));
    EXPECT_EQ(result.errors, "");
  }
}

TEST_F(CommandLine, BadUsageIsToldOnStandardError) {
  struct Row {
    std::vector<std::string> arguments;
    std::string reason;
  };
  const Row rows[] = {
      {{}, "no command is given"},
      {{""}, "unknown command "},
      {{"frobnicate"}, "unknown command frobnicate"},
      {{"--into", "d"}, "unknown command --into"},
      {{"extract"}, "no archive is given"},
      {{"extract", "--"}, "no archive is given"},
      {{"extract", "--into", "d"}, "no archive is given"},
      {{"extract", "a.zip", "--into"}, "--into needs the name of a folder"},
      {{"extract", "a.zip", "--into", ""}, "--into needs the name of a folder"},
      {{"extract", "a.zip", "--into="}, "--into needs the name of a folder"},
      {{"extract", "a.zip", "--into", "d", "--into=e"}, "--into is given twice"},
      {{"extract", "a.zip", "--memory", "x"},
       "--memory takes a number of bytes, such as 500M or 2G"},
      {{"extract", "a.zip", "--memory=0"}, "--memory takes a number of bytes, such as 500M or 2G"},
      {{"extract", "a.zip", "--max-size=9999999999999G"},
       "--max-size takes a number of bytes, such as 500M or 2G"},
      {{"list", "a.zip", "--max-size=-1"},
       "--max-size takes a number of bytes, such as 500M or 2G"},
      {{"list", "a.zip", "--patience", "1K"}, "--patience takes a number"},
      {{"extract", "a.zip", "--max-entries", "M"}, "--max-entries takes a number"},
      {{"extract", "a.zip", "--max-entries"}, "--max-entries needs a number"},
      {{"extract", "a.zip", "--trash=yes"}, "unknown option --trash=yes"},
      {{"extract", "a.zip", "--long"}, "unknown option --long"},
      {{"list", "a.zip", "--long", "--cbor"}, "--long and --cbor exclude each other"},
      {{"extract", "--frob", "a.zip"}, "unknown option --frob"},
      {{"extract", "-x", "a.zip"}, "unknown option -x"},
      {{"extract", "-\x1b[2J"}, "unknown option -\\x1b[2J"},
      {{"extract", "-"},
       "archives are neither read from standard input nor written to standard output"},
      {{"extract", ""}, "the name of an archive is empty"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(PrintToString(row.arguments));
    const ProgramResult result = oxarchive(row.arguments, {.folder = work()});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "oxarchive: " + row.reason + "\nTry \"oxarchive --help\".\n");
  }
  EXPECT_TRUE(names().empty());
}

TEST_F(CommandLine, TakesNamesThatLookLikeOptions) {
  writeArchive(in("-x.tar"), {file("a")});
  writeArchive(in("--help"), {file("b")});
  const ProgramResult result =
      oxarchive({"extract", "--into", "out", "--", "-x.tar", "--help"}, {.folder = work()});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.output, "-x.tar -> out/-x: 1 entry, 8 B\n--help -> out/--help: 1 entry, 8 B\n");
  EXPECT_EQ(treeOf(in("out")), (Tree{{"-x", "folder"},
                                     {"-x/a", "file contents"},
                                     {"--help", "folder"},
                                     {"--help/b", "file contents"}}));
  remove({"-x.tar", "--help", "out"});
}

TEST_F(CommandLine, OptionsMayFollowTheArchives) {
  writeArchive(in("a.tar"), {file("a")});
  const ProgramResult result = oxarchive({"extract", in("a.tar"), "--into=" + in("out")});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.output, resultLine("a.tar", "out/a", 1, 8));
  remove({"a.tar", "out"});
}

TEST_F(CommandLine, TellsWhenTheResultCannotBeWritten) {
  writeArchive(in("a.tar"), {file("a")});
  const ProgramResult result =
      oxarchive({"extract", in("a.tar")},
                {.beforeExec = [] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); }});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors, "oxarchive: cannot write to standard output: No space left on device\n");
  EXPECT_EQ(treeOf(in("a")), (Tree{{"a", "file contents"}}));  // the extraction is complete
  remove({"a.tar", "a"});
}

// The standard stream becomes a pipe without readers.
void breakStream(int stream) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0 || ::dup2(ends[1], stream) < 0) {
    ::_exit(126);
  }
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(CommandLine, ABrokenPipeBreaksNoWorkOff) {
  writeArchive(in("a.tar"), {file("ok"), file("../bad"), folder("d", 0500), file("d/after")});
  writeArchive(in("b.tar"), {file("b")});
  const std::vector<int> rows[] = {
      {STDOUT_FILENO}, {STDERR_FILENO}, {STDOUT_FILENO, STDERR_FILENO}};
  for (const std::vector<int>& streams : rows) {
    SCOPED_TRACE(testing::PrintToString(streams));
    const auto breakStreams = [&] {
      for (const int stream : streams) {
        breakStream(stream);
      }
    };
    const ProgramOptions options{.beforeExec = breakStreams};
    const ProgramResult result = oxarchive({"extract", in("a.tar"), in("b.tar")}, options);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(treeOf(in("a")),
              (Tree{{"ok", "file contents"}, {"d", "folder"}, {"d/after", "file contents"}}));
    EXPECT_EQ(std::filesystem::status(in("a/d")).permissions(), std::filesystem::perms(0500));
    EXPECT_EQ(treeOf(in("b")), (Tree{{"b", "file contents"}}));
    remove({"a", "b"});
    const bool isResultLost = streams.front() == STDOUT_FILENO;
    for (const std::vector<std::string>& arguments : {
             std::vector<std::string>{"list", in("b.tar")},
             {"extract", in("b.tar")},
             {"create", in("c.tar"), in("b.tar")},
             {"--help"},
         }) {
      SCOPED_TRACE(arguments.front());
      const ProgramResult other = oxarchive(arguments, options);
      EXPECT_EQ(other.signal, 0);
      EXPECT_EQ(other.exitCode, isResultLost ? 1 : 0);
      EXPECT_EQ(other.output.empty(), isResultLost);
      EXPECT_EQ(other.errors, streams == std::vector<int>{STDOUT_FILENO}
                                  ? "oxarchive: cannot write to standard output: Broken pipe\n"
                                  : "");
    }
    remove({"b", "c.tar"});
  }
  remove({"a.tar", "b.tar"});
}

TEST_F(CommandLine, ClosedStandardStreamsAreNotWrittenTo) {
  writeArchive(in("a.tar"), {file("ok"), file("../bad"), file("after", noise(100'000))});
  const ProgramResult result = oxarchive({"extract", in("a.tar")}, {.beforeExec = [] {
                                           ::close(STDIN_FILENO);
                                           ::close(STDOUT_FILENO);
                                           ::close(STDERR_FILENO);
                                         }});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_TRUE(treeOf(in("a")) ==
              (Tree{{"ok", "file contents"}, {"after", "file " + noise(100'000)}}));
  remove({"a.tar", "a"});
}

TEST_F(CommandLine, DrawsNoProgressBarInAPipe) {
  writeArchive(in("a.tar"), someItems());
  const ProgramResult result =
      oxarchive({"extract", in("a.tar")}, {.beforeExec = [] { ::setenv("TERM", "xterm", 1); }});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.output.find_first_of("\r\x1b"), std::string::npos);
  remove({"a.tar", "a"});
}

TEST_F(CommandLine, DrawsAProgressBarOnATerminal) {
  OX_SKIP_WITHOUT_TERMINALS();
  writeArchive(in("a.tar"), someItems());
  const auto runIn = [&](const char* terminal) {
    return oxarchive({"extract", "a.tar"},
                     {.folder = work(), .errorsOnTerminal = true, .beforeExec = [terminal] {
                        ::setenv("TERM", terminal, 1);
                      }});
  };
  const ProgramResult result = runIn("xterm");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.output, "a.tar -> a: 5 entries, 300 KB\n");
  const std::string clearLine = "\r\x1b[K";
  EXPECT_TRUE(result.errors.starts_with(clearLine + "a.tar  [")) << PrintToString(result.errors);
  EXPECT_NE(result.errors.find('%'), std::string::npos);
  // It is cleared when the program ends, and was never wider than the terminal.
  EXPECT_TRUE(result.errors.ends_with(clearLine)) << PrintToString(result.errors);
  EXPECT_LT(result.errors.find(clearLine, 1), 80 + clearLine.size());

  EXPECT_EQ(runIn("dumb").errors, "");
  EXPECT_EQ(runIn("").errors, "");
  remove({"a.tar", "a", "a (1)", "a (2)"});

  // With a name of seven characters, three of which take two cells, the line is as wide.
  writeArchive(in("日本語.tar"), someItems());
  const std::string wide =
      oxarchive({"extract", "日本語.tar"}, {.folder = work(),
                                            .errorsOnTerminal = true,
                                            .beforeExec = [] { ::setenv("TERM", "xterm", 1); }})
          .errors;
  const std::string frame = "  [] 100%";
  EXPECT_EQ(wide.find(']') - wide.find("  [") - 3, 79 - 10 - frame.size()) << PrintToString(wide);
  remove({"日本語.tar", "日本語"});
}

TEST_F(CommandLine, MessagesDoNotMixWithTheProgressBar) {
  OX_SKIP_WITHOUT_TERMINALS();
  writeArchive(in("a.tar"), {file("ok"), file("../bad")});
  const ProgramResult result = oxarchive(
      {"extract", "a.tar"}, {.folder = work(), .errorsOnTerminal = true, .beforeExec = [] {
                               ::setenv("TERM", "xterm", 1);
                             }});
  EXPECT_EQ(result.exitCode, 1);
  // A terminal converts each line feed to two characters.
  EXPECT_NE(
      result.errors.find("\r\x1b[Koxarchive: a.tar: ../bad: its path leads out of the folder: "
                         "it has \"..\"\r\n"),
      std::string::npos)
      << PrintToString(result.errors);
  remove({"a.tar", "a"});
}

}  // namespace

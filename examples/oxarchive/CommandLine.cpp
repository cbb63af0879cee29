#include "CommandLine.h"

#include <string_view>
#include <utility>

#include "Printable.h"

namespace oxarchive {

const char* const helpText = R"help(Usage: oxarchive extract ARCHIVE... [--into DIR]
       oxarchive list ARCHIVE
       oxarchive --help

extract puts what is in each archive into a new folder of its own, which is
named after it and lies beside it. Nothing is ever overwritten: where the name
is taken the folder is called "NAME (1)", "NAME (2)" and so on. Of a split
archive any volume may be given: name.7z.001, name.part1.rar, or name.rar with
name.r00.

  --into DIR   make the folders in DIR, which is made when it is missing
  --           what follows are archives, even if it begins with "-"
  --help       show this text

For each archive one line goes to standard output:

  ARCHIVE -> FOLDER: N entries, N bytes

with " (incomplete)" at its end when something in the archive could not be
extracted; standard error then says what, and why. Entries whose names or links
lead out of the folder, and devices, pipes and sockets, are refused. Of an
archive of which nothing can be extracted, no folder is left behind.

list shows the entries of one archive: flags ("d" for a folder, "e" for
encrypted), size, time of the last change, kind and path, each in its column;
then the totals. The archive is opened by a process of its own.

Formats: tar, cpio, ar, ZIP, 7-Zip, RAR, CAB, LHA, XAR and ISO 9660, also
compressed with gzip, bzip2, xz, lzma, lzip, zstd, lz4 or compress, and RPM.
Encrypted archives are not supported.

Exit status: 0 when all went well, 1 when something of some archive could not be
extracted or listed, 2 when the command line is wrong.)help";

namespace {

void setInto(ExtractOptions& options, std::string folder) {
  if (folder.empty()) {
    throw UsageError("--into needs the name of a folder");
  }
  if (options.into) {
    throw UsageError("--into is given twice");
  }
  options.into = std::move(folder);
}

void addArchive(ExtractOptions& options, const std::string& archive) {
  if (archive.empty()) {
    throw UsageError("the name of an archive is empty");
  }
  options.archives.push_back(archive);
}

// Hands every argument to one of two functions: what begins with "-", up to "--", and what does
// not. The first one may take the arguments that follow its own.
template <typename TakeOption, typename TakeArchive>
void parseArguments(std::span<const char* const> arguments, TakeOption takeOption,
                    TakeArchive takeArchive) {
  bool areOptionsOver = false;
  while (!arguments.empty()) {
    const std::string argument = arguments.front();
    arguments = arguments.subspan(1);
    if (areOptionsOver || !argument.starts_with('-')) {
      takeArchive(argument);
    } else if (argument == "--") {
      areOptionsOver = true;
    } else if (argument == "-") {
      throw UsageError("archives are not read from standard input");
    } else if (!takeOption(argument, arguments)) {
      throw UsageError("unknown option " + printable(argument));
    }
  }
}

ExtractOptions parseExtract(std::span<const char* const> arguments) {
  ExtractOptions options;
  parseArguments(
      arguments,
      [&](const std::string& option, std::span<const char* const>& rest) {
        constexpr std::string_view intoEquals = "--into=";
        if (option == "--into") {
          setInto(options, rest.empty() ? "" : rest.front());
          rest = rest.subspan(rest.empty() ? 0 : 1);
          return true;
        }
        if (option.starts_with(intoEquals)) {
          setInto(options, option.substr(intoEquals.size()));
          return true;
        }
        return false;
      },
      [&](const std::string& archive) { addArchive(options, archive); });
  if (options.archives.empty()) {
    throw UsageError("no archive is given");
  }
  return options;
}

ListOptions parseList(std::span<const char* const> arguments) {
  ListOptions options;
  parseArguments(
      arguments, [](const std::string&, std::span<const char* const>&) { return false; },
      [&](const std::string& archive) {
        if (archive.empty()) {
          throw UsageError("the name of an archive is empty");
        }
        if (!options.archive.empty()) {
          throw UsageError("one archive is listed at a time");
        }
        options.archive = archive;
      });
  if (options.archive.empty()) {
    throw UsageError("no archive is given");
  }
  return options;
}

bool asksForHelp(std::span<const char* const> arguments) {
  for (const std::string_view argument : arguments) {
    if (argument == "--") {
      return false;
    }
    if (argument == "--help" || argument == "-h") {
      return true;
    }
  }
  return false;
}

}  // namespace

Command parseCommandLine(std::span<const char* const> arguments) {
  // What another process of this program asks for is taken as it is: its archive may be called
  // "--help".
  constexpr std::string_view listWorker = "list-worker";
  if (arguments.size() == 2 && arguments.front() == listWorker) {
    return ListWorkerOptions{arguments.back()};
  }
  if (asksForHelp(arguments)) {
    return HelpOptions{};
  }
  if (arguments.empty()) {
    throw UsageError("no command is given");
  }
  const std::string_view command = arguments.front();
  if (command == "extract") {
    return parseExtract(arguments.subspan(1));
  }
  if (command == "list") {
    return parseList(arguments.subspan(1));
  }
  throw UsageError("unknown command " + printable(command));
}

}  // namespace oxarchive

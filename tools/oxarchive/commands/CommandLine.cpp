// SPDX-License-Identifier: MIT

#include "commands/Commands.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>

#include "console/Failure.h"
#include "console/Printable.h"

namespace oxarchive {

namespace {

using Rest = std::span<const char* const>;

// An option as given by the user.
struct Given {
  std::string name;
  std::string value;
};

using Take = void(Options& options, const Given& given);

template <std::optional<std::string> Options::*field>
void takeText(Options& options, const Given& given) {
  if (options.*field) {
    throw UsageError(given.name + " is given twice");
  }
  options.*field = given.value;
}

template <PasswordSource::Kind kind>
void takePassword(Options& options, const Given& given) {
  if (options.password.kind != PasswordSource::Kind::none) {
    throw UsageError("more than one password is given");
  }
  options.password = {kind, given.value};
}

template <ListStyle style>
void takeStyle(Options& options, const Given& /*given*/) {
  if (options.style != ListStyle::table && options.style != style) {
    throw UsageError("--long and --cbor exclude each other");
  }
  options.style = style;
}

void takeTrash(Options& options, const Given& /*given*/) {
  options.isTrashing = true;
}

// A positive integer. Sizes may end in K, M, G or T, for powers of 1024.
std::uint64_t readCount(const Given& given, bool isSize) {
  constexpr std::string_view units = "KMGT";
  std::string_view digits = given.value;
  const std::size_t unit = isSize ? units.find(digits.back()) : std::string_view::npos;
  if (unit != std::string_view::npos) {
    digits.remove_suffix(1);
  }
  const unsigned shift =
      unit != std::string_view::npos ? 10 * (static_cast<unsigned>(unit) + 1) : 0;
  std::uint64_t value = 0;
  const char* const last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, value);
  if (error != std::errc() || end != last || value == 0 || value > UINT64_MAX >> shift) {
    throw UsageError(given.name + " takes a number" +
                     (isSize ? " of bytes, such as 500M or 2G" : ""));
  }
  return value << shift;
}

template <std::uint64_t Limits::*limit, bool isSize>
void takeLimit(Options& options, const Given& given) {
  options.limits.*limit = readCount(given, isSize);
}

enum : unsigned { extracting = 1, listing = 2, creating = 4, reading = extracting | listing };

struct Option {
  std::string_view name;
  unsigned commands;  // that accept it
  const char* value;  // the value it needs, in words; null for a switch
  Take* take;
};

using PasswordKind = PasswordSource::Kind;

constexpr auto knownOptions = std::to_array<Option>({
    {"--into", extracting, "the name of a folder", takeText<&Options::into>},
    {"--trash", extracting, nullptr, takeTrash},
    {"--long", listing, nullptr, takeStyle<ListStyle::details>},
    {"--cbor", listing, nullptr, takeStyle<ListStyle::records>},
    {"--level", creating, "a compression level", takeText<&Options::level>},
    {"--method", creating, "an encryption method", takeText<&Options::method>},
    {"--password", reading | creating, nullptr, takePassword<PasswordKind::terminal>},
    {"--password-file", reading | creating, "the name of a file", takePassword<PasswordKind::file>},
    {"--password-env", reading | creating, "the name of an environment variable",
     takePassword<PasswordKind::environment>},
    {"--max-entries", reading, "a number", takeLimit<&Limits::entries, false>},
    {"--max-size", reading, "a number", takeLimit<&Limits::size, true>},
    {"--memory", reading, "a number", takeLimit<&Limits::memory, true>},
    {"--patience", reading, "a number", takeLimit<&Limits::patience, false>},
});

const char* takeFirst(Rest& rest) {
  const char* const first = rest.front();
  rest = rest.subspan(1);
  return first;
}

// Parses `argument`: "NAME", "NAME VALUE" with the value in `rest`, or "NAME=VALUE".
void takeOption(const std::string& argument, Rest& rest, unsigned command, Options& options) {
  const std::size_t nameEnd = std::min(argument.find('='), argument.size());
  const bool hasValue = nameEnd < argument.size();
  Given given{argument.substr(0, nameEnd), hasValue ? argument.substr(nameEnd + 1) : ""};
  const auto* const option = std::ranges::find(knownOptions, given.name, &Option::name);
  if (option == knownOptions.end() || (option->commands & command) == 0 ||
      (hasValue && option->value == nullptr)) {
    throw UsageError("unknown option " + printable(argument));
  }
  if (option->value != nullptr && !hasValue && !rest.empty()) {
    given.value = takeFirst(rest);
  }
  if (option->value != nullptr && given.value.empty()) {
    throw UsageError(given.name + " needs " + option->value);
  }
  option->take(options, given);
}

void checkOperands(const std::vector<std::string>& operands, unsigned command) {
  if (operands.empty()) {
    throw UsageError("no archive is given");
  }
  if (operands.front().empty() ||
      (command != creating && std::ranges::count(operands, std::string()) > 0)) {
    throw UsageError("the name of an archive is empty");
  }
  if (command == creating && operands.size() == 1) {
    throw UsageError("nothing to pack is given");
  }
  if (std::ranges::count(operands, std::string()) > 0) {
    throw UsageError("the path of an item to pack is empty");
  }
}

Options parse(Rest rest, unsigned command) {
  Options options;
  bool areOptionsOver = false;
  while (!rest.empty()) {
    const std::string argument = takeFirst(rest);
    if (areOptionsOver || !argument.starts_with('-')) {
      options.operands.push_back(argument);
    } else if (argument == "--") {
      areOptionsOver = true;
    } else if (argument == "-") {
      throw UsageError(
          "archives are neither read from standard input nor written to standard output");
    } else {
      takeOption(argument, rest, command, options);
    }
  }
  checkOperands(options.operands, command);
  return options;
}

struct Command {
  std::string_view name;
  unsigned kind;
  bool (*run)(const Options& options, Console& console);
};

constexpr auto commands = std::to_array<Command>({{"extract", extracting, extractArchives},
                                                  {"list", listing, listArchives},
                                                  {"create", creating, createArchive}});

// The help or version text if the user asks for it, else "".
std::string textAskedFor(Rest arguments) {
  for (const std::string_view argument : arguments) {
    if (argument == "--") {
      break;
    }
    if (argument == "--help" || argument == "-h") {
      return helpText;
    }
    if (argument == "--version") {
      return versionText();
    }
  }
  return "";
}

}  // namespace

bool runCommandLine(std::span<const char* const> arguments, Console& console) {
  // From another process of this program; not parsed, since the archive may be called "--help".
  if (arguments.size() == 2 && arguments.front() == std::string_view("list-worker")) {
    return sendListing(arguments.back(), {}, console);
  }
  if (const std::string text = textAskedFor(arguments); !text.empty()) {
    console.result(text);
    return true;
  }
  if (arguments.empty()) {
    throw UsageError("no command is given");
  }
  const std::string_view name = takeFirst(arguments);
  const auto* const command = std::ranges::find(commands, name, &Command::name);
  if (command == commands.end()) {
    throw UsageError("unknown command " + printable(name));
  }
  return command->run(parse(arguments, command->kind), console);
}

}  // namespace oxarchive

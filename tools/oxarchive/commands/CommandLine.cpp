#include "commands/CommandLine.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <utility>

#include "commands/Commands.h"
#include "console/Printable.h"

namespace oxarchive {

namespace {

using Rest = std::span<const char* const>;

// The arguments, taken apart: options call `take`, which says whether it knows them, and everything
// else is an operand. After "--" all is.
class Arguments {
 public:
  explicit Arguments(Rest rest) : rest_(rest) {}

  // The operands. `take` may ask for values as long as it runs.
  template <typename Take>
  std::vector<std::string> parse(Take take) {
    std::vector<std::string> operands;
    bool areOptionsOver = false;
    while (!rest_.empty()) {
      option_ = rest_.front();
      rest_ = rest_.subspan(1);
      if (areOptionsOver || !option_.starts_with('-')) {
        operands.push_back(option_);
      } else if (option_ == "--") {
        areOptionsOver = true;
      } else if (option_ == "-") {
        throw UsageError(
            "archives are neither read from standard input nor written to standard output");
      } else if (!take()) {
        throw UsageError("unknown option " + printable(option_));
      }
    }
    return operands;
  }

  bool is(std::string_view name) const { return option_ == name; }

  // Whether the option is `name`, "NAME VALUE" or "NAME=VALUE"; its value, which is `what` and not
  // empty, is then in `value`, which has none before.
  bool is(std::string_view name, const std::string& what, std::optional<std::string>& value) {
    std::string given;
    if (option_ == name) {
      given = rest_.empty() ? "" : rest_.front();
      rest_ = rest_.subspan(rest_.empty() ? 0 : 1);
    } else if (option_.starts_with(name) && option_[name.size()] == '=') {
      given = option_.substr(name.size() + 1);
    } else {
      return false;
    }
    if (given.empty()) {
      throw UsageError(std::string(name) + " needs " + what);
    }
    if (value) {
      throw UsageError(std::string(name) + " is given twice");
    }
    value = std::move(given);
    return true;
  }

 private:
  Rest rest_;
  std::string option_;
};

void setPassword(PasswordSource& source, PasswordSource::Kind kind, std::string name = "") {
  if (source.kind != PasswordSource::Kind::none) {
    throw UsageError("more than one password is given");
  }
  source = {kind, std::move(name)};
}

bool takePassword(Arguments& arguments, PasswordSource& source) {
  using Kind = PasswordSource::Kind;
  std::optional<std::string> name;
  if (arguments.is("--password")) {
    setPassword(source, Kind::terminal);
    return true;
  }
  if (arguments.is("--password-file", "the name of a file", name)) {
    setPassword(source, Kind::file, *name);
    return true;
  }
  if (arguments.is("--password-env", "the name of an environment variable", name)) {
    setPassword(source, Kind::environment, *name);
    return true;
  }
  return false;
}

// A whole number, at least 1; sizes may have K, M, G or T behind them, in powers of 1024.
std::uint64_t readCount(const std::string& option, std::string text, bool isSize) {
  constexpr std::string_view units = "KMGT";
  const std::size_t unit =
      isSize && !text.empty() ? units.find(text.back()) : std::string_view::npos;
  if (unit != std::string_view::npos) {
    text.pop_back();
  }
  const unsigned shift =
      unit != std::string_view::npos ? 10 * (static_cast<unsigned>(unit) + 1) : 0;
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value == 0 ||
      value > UINT64_MAX >> shift) {
    throw UsageError(option + " takes a number" + (isSize ? " of bytes, as 500M or 2G" : ""));
  }
  return value << shift;
}

bool takeLimit(Arguments& arguments, Limits& limits) {
  struct Row {
    const char* option;
    bool isSize;
    std::uint64_t& limit;
  };
  for (const Row& row :
       {Row{"--max-entries", false, limits.entries}, Row{"--max-size", true, limits.size},
        Row{"--memory", true, limits.memory}, Row{"--patience", false, limits.patience}}) {
    std::optional<std::string> value;
    if (arguments.is(row.option, "a number", value)) {
      row.limit = readCount(row.option, *value, row.isSize);
      return true;
    }
  }
  return false;
}

void checkArchives(const std::vector<std::string>& archives) {
  if (archives.empty()) {
    throw UsageError("no archive is given");
  }
  if (std::ranges::any_of(archives, &std::string::empty)) {
    throw UsageError("the name of an archive is empty");
  }
}

ExtractOptions parseExtract(Rest rest) {
  ExtractOptions options;
  Arguments arguments(rest);
  options.archives = arguments.parse([&] {
    options.isTrashing = options.isTrashing || arguments.is("--trash");
    return arguments.is("--trash") ||
           arguments.is("--into", "the name of a folder", options.into) ||
           takePassword(arguments, options.password) || takeLimit(arguments, options.limits);
  });
  checkArchives(options.archives);
  return options;
}

ListOptions parseList(Rest rest) {
  ListOptions options;
  Arguments arguments(rest);
  const std::vector<std::string> archives = arguments.parse([&] {
    return takePassword(arguments, options.password) || takeLimit(arguments, options.limits);
  });
  checkArchives(archives);
  if (archives.size() > 1) {
    throw UsageError("one archive is listed at a time");
  }
  options.archive = archives.front();
  return options;
}

CreateOptions parseCreate(Rest rest) {
  CreateOptions options;
  Arguments arguments(rest);
  options.paths = arguments.parse([&] {
    return arguments.is("--level", "a compression level", options.level) ||
           arguments.is("--method", "an encryption method", options.method) ||
           takePassword(arguments, options.password);
  });
  if (options.paths.empty()) {
    throw UsageError("no archive is given");
  }
  options.archive = options.paths.front();
  options.paths.erase(options.paths.begin());
  checkArchives({options.archive});
  if (options.paths.empty()) {
    throw UsageError("nothing to pack is given");
  }
  if (std::ranges::any_of(options.paths, &std::string::empty)) {
    throw UsageError("the path of an item to pack is empty");
  }
  return options;
}

bool asksForHelp(Rest arguments) {
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
  if (arguments.size() == 2 && arguments.front() == std::string_view("list-worker")) {
    return [archive = std::string(arguments.back())](Console& console) {
      return sendListing(archive, {}, console);
    };
  }
  if (asksForHelp(arguments)) {
    return [](Console& console) {
      console.result(helpText);
      return true;
    };
  }
  if (arguments.empty()) {
    throw UsageError("no command is given");
  }
  const std::string_view command = arguments.front();
  if (command == "extract") {
    return std::bind_front(extractArchives, parseExtract(arguments.subspan(1)));
  }
  if (command == "list") {
    return std::bind_front(listArchive, parseList(arguments.subspan(1)));
  }
  if (command == "create") {
    return std::bind_front(createArchive, parseCreate(arguments.subspan(1)));
  }
  throw UsageError("unknown command " + printable(command));
}

}  // namespace oxarchive

// SPDX-License-Identifier: MIT

#include "support/Locales.h"

#include <bit>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "support/ChildProcess.h"

namespace ox::test {
namespace {

// The order of strings is that of the locale POSIX: a language's own takes most of localedef's
// time, and no test depends on it.
void writeSource(const std::string& path, const std::string& language) {
  std::ofstream source(path);
  source << "escape_char /\ncomment_char %\n";
  for (const char* category :
       {"LC_CTYPE", "LC_COLLATE", "LC_TIME", "LC_NUMERIC", "LC_MONETARY", "LC_MESSAGES"}) {
    const std::string copied = category == std::string("LC_COLLATE") ? "POSIX" : language;
    source << category << "\ncopy \"" << copied << "\"\nEND " << category << '\n';
  }
}

}  // namespace

Locales::~Locales() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

bool Locales::make(const std::string& language, const std::string& encoding) const {
  return make(language, encoding, encoding);
}

bool Locales::make(const std::string& language, const std::string& encoding,
                   const std::string& charmap) const {
  std::error_code ignored;
  std::filesystem::create_directory(folder_, ignored);
  const std::string name = language + "." + encoding;
  const std::string source = folder_ + "/" + name + ".source";
  writeSource(source, language);
  // Under an emulator, localedef may be a program for another processor.
  const bool isBigEndian = std::endian::native == std::endian::big;
  // localedef exits with 1 if it only has warnings.
  run({.program = "localedef",
       .arguments = {isBigEndian ? "--big-endian" : "--little-endian", "--no-archive", "--quiet",
                     "-c", "-i", source, "-f", charmap, folder_ + "/" + name}});
  return std::filesystem::exists(folder_ + "/" + name + "/LC_TIME");
}

bool Locales::areForAllPrograms() {
  const std::string one =
      outputOf({.program = "sh", .arguments = {"-c", R"(printf '\1\0' | od -A n -t d2)"}});
  return (std::stoi(one) == 1) == (std::endian::native == std::endian::little);
}

Locales::Environment Locales::environment(const std::string& name) const {
  return {{"LOCPATH", folder_},
          {"LC_ALL", std::nullopt},
          {"LC_TIME", std::nullopt},
          {"LANGUAGE", std::nullopt},
          {"LANG", name}};
}

}  // namespace ox::test

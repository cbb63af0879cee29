#include "support/Locales.h"

#include <bit>
#include <filesystem>
#include <system_error>

#include "support/ChildProcess.h"

namespace ox::test {

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
  // Under an emulator, localedef may be a program for another processor.
  const bool isBigEndian = std::endian::native == std::endian::big;
  // localedef exits with 1 if it only has warnings.
  run({.program = "localedef",
       .arguments = {isBigEndian ? "--big-endian" : "--little-endian", "--no-archive", "--quiet",
                     "-c", "-i", language, "-f", charmap, folder_ + "/" + name}});
  return std::filesystem::exists(folder_ + "/" + name + "/LC_TIME");
}

Locales::Environment Locales::environment(const std::string& name) const {
  return {{"LOCPATH", folder_},
          {"LC_ALL", std::nullopt},
          {"LC_TIME", std::nullopt},
          {"LANGUAGE", std::nullopt},
          {"LANG", name}};
}

}  // namespace ox::test

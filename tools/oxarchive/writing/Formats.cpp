// SPDX-License-Identifier: MIT

#include "writing/Formats.h"

#include <OrvexKit/OXFileUtil.h>
#include <glib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <thread>

#include "console/Failure.h"
#include "console/Printable.h"

namespace oxarchive {
namespace {

// The tar variant with times in nanoseconds and names of any length and any bytes.
constexpr auto tar = ::archive_write_set_format_pax;
constexpr auto zip = ::archive_write_set_format_zip;
constexpr auto sevenZip = ::archive_write_set_format_7zip;

// One per processor, but at least two: a single thread makes a different archive than several.
std::string threads(const std::string& compressor) {
  return compressor +
         ":threads=" + std::to_string(std::max(2U, std::thread::hardware_concurrency()));
}

// No time in gzip, so that the same items always give the same archive.
const auto formats = std::to_array<Format>({
    {"tar", {"tar"}, tar},
    {"tar with gzip", {"tar.gz", "tgz"}, tar, "gzip", {1, 9, 1, 6}, {"gzip:!timestamp"}},
    {"tar with bzip2", {"tar.bz2", "tbz2", "tbz"}, tar, "bzip2", {1, 9, 1, 9}},
    {"tar with xz", {"tar.xz", "txz"}, tar, "xz", {0, 9, 0, 6}, {threads("xz")}},
    {"tar with zstd", {"tar.zst", "tzst"}, tar, "zstd", {1, 22, 1, 3}, {threads("zstd")}},
    {"ZIP", {"zip"}, zip, "zip", {0, 9, 1, 6}, {}, {"aes256", "aes128", "zipcrypt"}},
    {"7-Zip", {"7z"}, sevenZip, "7zip", {0, 9, 1, 6}},
    {"RAR", {"rar"}},
    {"CAB", {"cab"}},
    {"ISO 9660", {"iso"}},
    {"LHA", {"lha", "lzh"}},
    {"RPM", {"rpm"}},
});

// The extensions of all formats that can be created.
std::string creatableExtensions() {
  std::string text;
  for (const Format& format : formats) {
    if (format.setFormat != nullptr) {
      text += (text.empty() ? "." : ", .") + format.extensions.front();
    }
  }
  return text;
}

// The index of a level, given by name or number, among those of the format.
OXUnsignedWord levelIndex(const Format& format, const std::string& level) {
  const Levels& levels = format.levels;
  const std::map<std::string, int> names{
      {"fastest", levels.fastest}, {"normal", levels.normal}, {"best", levels.last}};
  const auto named = names.find(level);
  const std::string digits = named != names.end() ? std::to_string(named->second) : level;
  int number = -1;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (number < levels.first || number > levels.last || digits != std::to_string(number)) {
    throw UsageError("--level takes fastest, normal, best, or " + std::to_string(levels.first) +
                     " to " + std::to_string(levels.last) + " for " + format.name + ", not " +
                     printable(level));
  }
  return static_cast<OXUnsignedWord>(number - levels.first);
}

OXUnsignedWord methodIndex(const Format& format, const std::string& method) {
  const auto found = std::ranges::find(format.methods, method);
  if (found != format.methods.end()) {
    return static_cast<OXUnsignedWord>(found - format.methods.begin());
  }
  std::string offered;
  for (const std::string& name : format.methods) {
    offered += (offered.empty() ? "" : ", ") + name;
  }
  throw UsageError("--method takes " + offered + " for " + format.name + ", not " +
                   printable(method));
}

}  // namespace

bool Format::isTar() const {
  return setFormat == tar;
}

bool Format::isKeptBack() const {
  return setFormat == sevenZip;
}

std::string Format::level(const OXArchiveSettings& settings) const {
  return std::to_string(levels.first + static_cast<int>(settings.compressionLevelIndex()));
}

const std::string& Format::method(const OXArchiveSettings& settings) const {
  return methods.at(settings.encryptionIndex());
}

const Format& formatFor(const std::string& archive) {
  std::string extension = OXFileUtilAdditions::archiveExtension(archive).value();
  std::ranges::transform(extension, extension.begin(), ::g_ascii_tolower);
  const auto* const format = std::ranges::find_if(formats, [&](const Format& each) {
    return std::ranges::count(each.extensions, extension) > 0;
  });
  if (format == formats.end()) {
    throw UsageError(printable(archive) + ": the name of a new archive ends in one of " +
                     creatableExtensions());
  }
  if (format->setFormat == nullptr) {
    throw UsageError(printable(archive) + ": " + format->name +
                     " archives are read, but not created");
  }
  return *format;
}

std::shared_ptr<OXArchiveSettings> settingsFor(const Format& format,
                                               const std::optional<std::string>& level,
                                               const std::optional<std::string>& method,
                                               bool isEncrypted) {
  std::shared_ptr<OXArchiveSettings> settings = OXArchiveSettings::defaultSettings();
  if (!format.compressor.empty()) {
    settings->setCompressionLevelIndex(levelIndex(format, level.value_or("normal")));
  } else if (level) {
    throw UsageError(format.name + " archives are not compressed, so they have no --level");
  }
  if ((isEncrypted || method) && format.methods.empty()) {
    throw UsageError(format.name + " archives cannot be encrypted; ZIP archives can");
  }
  if (method) {
    if (!isEncrypted) {
      throw UsageError("--method needs a password: --password, --password-file or --password-env");
    }
    settings->setEncryptionIndex(methodIndex(format, *method));
  }
  return settings;
}

}  // namespace oxarchive

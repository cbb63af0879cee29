#include "writing/Formats.h"

#include <OrvexKit/OXFileUtil.h>

#include <algorithm>
#include <any>
#include <array>
#include <iterator>
#include <thread>
#include <utility>

#include "console/Failure.h"
#include "console/Printable.h"

namespace oxarchive {
namespace {

using Strings = OXFormatInfo::Strings;
using Objects = OXFormatInfo::Objects;

struct Levels {
  int first = 0;
  int last = 0;
  int fastest = 0;
  int normal = 0;
};

// A format as libarchive knows it. One without `setFormat` is read alone.
struct Row {
  std::string name{};
  Strings extensions{};
  int (*setFormat)(struct ::archive*) = nullptr;
  std::string compressor{};  // none: it is not compressed
  Levels levels{};
  std::vector<std::string> options{};
  Strings methods{};
};

// The variant of tar with times to the nanosecond, and names of any length and any bytes.
constexpr auto tar = ::archive_write_set_format_pax;
constexpr auto zip = ::archive_write_set_format_zip;
constexpr auto sevenZip = ::archive_write_set_format_7zip;

// One for each processor, and two at least: a single one would make another archive than several.
std::string threads(const std::string& compressor) {
  return compressor +
         ":threads=" + std::to_string(std::max(2U, std::thread::hardware_concurrency()));
}

// The same items always give the same archive, so there is no time in gzip.
const auto rows = std::to_array<Row>({
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

Format toFormat(const Row& row) {
  const auto info = std::make_shared<OXFormatInfo>();
  info->setFormatId(static_cast<OXUnsignedWord>(&row - rows.data()) + 1);
  info->setName(row.name);
  info->setExtensions(std::make_shared<const Strings>(row.extensions));
  info->setIsCreationSupported(row.setFormat != nullptr);
  if (!row.compressor.empty()) {
    Objects levels;
    for (int level = row.levels.first; level <= row.levels.last; ++level) {
      levels.emplace_back(level);
    }
    info->setCompressionLevels(std::make_shared<const Objects>(std::move(levels)));
  }
  if (!row.methods.empty()) {
    info->setEncryptionMethods(
        std::make_shared<const Objects>(row.methods.begin(), row.methods.end()));
  }
  const bool isTar = row.setFormat == tar;
  return {info,
          row.setFormat,
          isTar ? row.compressor : "",
          row.options,
          row.compressor,
          row.levels.fastest,
          row.levels.normal,
          !isTar,
          row.setFormat == sevenZip};
}

const std::vector<Format>& formats() {
  static const std::vector<Format> formats = [] {
    std::vector<Format> all;
    std::ranges::transform(rows, std::back_inserter(all), toFormat);
    return all;
  }();
  return formats;
}

std::string lowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') {
      c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return text;
}

// The extensions of all formats that can be created.
std::string creatableExtensions() {
  std::string text;
  for (const Format& format : formats()) {
    if (format.info->isCreationSupported()) {
      text += (text.empty() ? "." : ", .") + format.info->extensions()->front();
    }
  }
  return text;
}

std::string titleOf(const Format& format) {
  return format.info->name().value();
}

// "1 to 9"
std::string rangeOf(const Objects& levels) {
  return std::to_string(std::any_cast<int>(levels.front())) + " to " +
         std::to_string(std::any_cast<int>(levels.back()));
}

int namedLevel(const Format& format, const Objects& levels, const std::string& level) {
  if (level == "fastest") {
    return format.fastestLevel;
  }
  if (level == "best") {
    return std::any_cast<int>(levels.back());
  }
  return format.normalLevel;
}

OXUnsignedWord levelIndex(const Format& format, const Objects& levels, const std::string& level) {
  const bool isName = level == "fastest" || level == "normal" || level == "best";
  const std::string number = isName ? std::to_string(namedLevel(format, levels, level)) : level;
  const auto found = std::ranges::find_if(levels, [&](const std::any& offered) {
    return std::to_string(std::any_cast<int>(offered)) == number;
  });
  if (found == levels.end()) {
    throw UsageError("--level takes fastest, normal, best, or " + rangeOf(levels) + " for " +
                     titleOf(format) + ", not " + printable(level));
  }
  return static_cast<OXUnsignedWord>(found - levels.begin());
}

OXUnsignedWord methodIndex(const Format& format, const Objects& methods,
                           const std::string& method) {
  std::string offered;
  for (std::size_t i = 0; i < methods.size(); ++i) {
    const auto name = std::any_cast<std::string>(methods[i]);
    if (name == method) {
      return i;
    }
    offered += (offered.empty() ? "" : ", ") + name;
  }
  throw UsageError("--method takes " + offered + " for " + titleOf(format) + ", not " +
                   printable(method));
}

}  // namespace

std::optional<int> Format::level(const OXArchiveSettings& settings) const {
  const auto levels = info->compressionLevels();
  return levels ? std::optional(std::any_cast<int>(levels->at(settings.compressionLevelIndex())))
                : std::nullopt;
}

std::optional<std::string> Format::encryptionMethod(const OXArchiveSettings& settings) const {
  const auto methods = info->encryptionMethods();
  return methods
             ? std::optional(std::any_cast<std::string>(methods->at(settings.encryptionIndex())))
             : std::nullopt;
}

const Format& formatFor(const std::string& archive) {
  const std::string extension = lowerCase(OXFileUtilAdditions::archiveExtension(archive).value());
  const auto format = std::ranges::find_if(
      formats(), [&](const Format& each) { return each.info->supportsExtension(extension); });
  if (format == formats().end()) {
    throw UsageError(printable(archive) + ": the name of a new archive ends in one of " +
                     creatableExtensions());
  }
  if (!format->info->isCreationSupported()) {
    throw UsageError(printable(archive) + ": " + titleOf(*format) +
                     " archives are read, but not created");
  }
  return *format;
}

std::shared_ptr<OXArchiveSettings> settingsFor(const Format& format,
                                               const std::optional<std::string>& level,
                                               const std::optional<std::string>& method,
                                               bool isEncrypted) {
  std::shared_ptr<OXArchiveSettings> settings = OXArchiveSettings::defaultSettings();
  if (const auto levels = format.info->compressionLevels()) {
    settings->setCompressionLevelIndex(levelIndex(format, *levels, level.value_or("normal")));
  } else if (level) {
    throw UsageError(titleOf(format) + " archives are not compressed: --level is for others");
  }
  const auto methods = format.info->encryptionMethods();
  if ((isEncrypted || method) && !methods) {
    throw UsageError(titleOf(format) + " archives cannot be encrypted; ZIP archives can");
  }
  if (method) {
    if (!isEncrypted) {
      throw UsageError("--method needs a password: --password, --password-file or --password-env");
    }
    settings->setEncryptionIndex(methodIndex(format, *methods, *method));
  }
  return settings;
}

}  // namespace oxarchive

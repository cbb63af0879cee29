#include "writing/Formats.h"

#include <OrvexKit/OXFileUtil.h>

#include <algorithm>
#include <any>
#include <utility>

#include "commands/CommandLine.h"
#include "console/Printable.h"

namespace oxarchive {
namespace {

using Strings = OXFormatInfo::Strings;
using Objects = OXFormatInfo::Objects;

enum class FormatId : OXUnsignedWord {
  tar = 1,
  tarGzip,
  tarBzip2,
  tarXz,
  tarZstd,
  zip,
  sevenZip,
  rar,
  cab,
  iso,
  lha,
  rpm,
};

// Of a format that can be read alone.
std::shared_ptr<OXFormatInfo> newInfo(FormatId id, const std::string& name,
                                      const Strings& extensions) {
  auto info = std::make_shared<OXFormatInfo>();
  info->setFormatId(static_cast<OXUnsignedWord>(id));
  info->setName(name);
  info->setExtensions(std::make_shared<const Strings>(extensions));
  return info;
}

std::shared_ptr<const Objects> levelsBetween(int first, int last) {
  Objects levels;
  for (int level = first; level <= last; ++level) {
    levels.emplace_back(level);
  }
  return std::make_shared<const Objects>(std::move(levels));
}

// The variant of tar with times to the nanosecond, and names of any length and any bytes.
constexpr auto tarFormat = ::archive_write_set_format_pax;

Format plainTar() {
  const auto info = newInfo(FormatId::tar, "tar", {"tar"});
  info->setIsCreationSupported(true);
  return {.info = info, .setFormat = tarFormat, .addFilter = ::archive_write_add_filter_none};
}

struct Compression {
  FormatId id;
  const char* name;
  int (*addFilter)(struct ::archive*);
  int firstLevel;
  int lastLevel;
  int normalLevel;
};

Format compressedTar(const Compression& compression, const Strings& extensions) {
  const std::string name = compression.name;
  const auto info = newInfo(compression.id, "tar with " + name, extensions);
  info->setIsCreationSupported(true);
  info->setCompressionLevels(levelsBetween(compression.firstLevel, compression.lastLevel));
  return {.info = info,
          .setFormat = tarFormat,
          .addFilter = compression.addFilter,
          .compressor = name,
          .fastestLevel = compression.firstLevel,
          .normalLevel = compression.normalLevel};
}

Format gzippedTar() {
  Format format = compressedTar(
      {FormatId::tarGzip, "gzip", ::archive_write_add_filter_gzip, 1, 9, 6}, {"tar.gz", "tgz"});
  // So that the same items always give the same archive.
  format.options = {"gzip:!timestamp"};
  return format;
}

Format zip() {
  const auto info = newInfo(FormatId::zip, "ZIP", {"zip"});
  info->setIsCreationSupported(true);
  info->setCompressionLevels(levelsBetween(0, 9));
  info->setEncryptionMethods(std::make_shared<const Objects>(
      Objects{std::string("aes256"), std::string("aes128"), std::string("zipcrypt")}));
  return {.info = info,
          .setFormat = ::archive_write_set_format_zip,
          .addFilter = ::archive_write_add_filter_none,
          .compressor = "zip",
          .fastestLevel = 1,
          .normalLevel = 6,
          .isUnicode = true};
}

Format sevenZip() {
  const auto info = newInfo(FormatId::sevenZip, "7-Zip", {"7z"});
  info->setIsCreationSupported(true);
  info->setCompressionLevels(levelsBetween(0, 9));
  return {.info = info,
          .setFormat = ::archive_write_set_format_7zip,
          .addFilter = ::archive_write_add_filter_none,
          .compressor = "7zip",
          .fastestLevel = 1,
          .normalLevel = 6,
          .isUnicode = true};
}

Format readOnly(FormatId id, const std::string& name, const Strings& extensions) {
  return {.info = newInfo(id, name, extensions)};
}

const std::vector<Format>& formats() {
  static const std::vector<Format> formats = {
      plainTar(),
      gzippedTar(),
      compressedTar({FormatId::tarBzip2, "bzip2", ::archive_write_add_filter_bzip2, 1, 9, 9},
                    {"tar.bz2", "tbz2", "tbz"}),
      compressedTar({FormatId::tarXz, "xz", ::archive_write_add_filter_xz, 0, 9, 6},
                    {"tar.xz", "txz"}),
      compressedTar({FormatId::tarZstd, "zstd", ::archive_write_add_filter_zstd, 1, 22, 3},
                    {"tar.zst", "tzst"}),
      zip(),
      sevenZip(),
      readOnly(FormatId::rar, "RAR", {"rar"}),
      readOnly(FormatId::cab, "CAB", {"cab"}),
      readOnly(FormatId::iso, "ISO 9660", {"iso"}),
      readOnly(FormatId::lha, "LHA", {"lha", "lzh"}),
      readOnly(FormatId::rpm, "RPM", {"rpm"}),
  };
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

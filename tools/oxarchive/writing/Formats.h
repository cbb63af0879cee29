#pragma once

#include <OrvexKit/OXArchiveSettings.h>
#include <OrvexKit/OXFormatInfo.h>
#include <archive.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace oxarchive {

// A format: what it is and can do, and how libarchive is told to write it.
struct Format {
  // The compression levels are `int`, the encryption methods `std::string` in libarchive's words.
  std::shared_ptr<const OXFormatInfo> info;

  int (*setFormat)(struct ::archive*) = nullptr;
  std::string filter{};                // the compression around the format, or none
  std::vector<std::string> options{};  // for every archive, in libarchive's words
  std::string compressor{};            // the part of libarchive that takes the level
  int fastestLevel = 0;                // without counting "not at all"
  int normalLevel = 0;
  bool isUnicode = false;   // names have to be UTF-8
  bool isKeptBack = false;  // in a temporary file, until it is written

  // The level and method that `settings` point to; nothing when there is none to choose.
  std::optional<int> level(const OXArchiveSettings& settings) const;
  std::optional<std::string> encryptionMethod(const OXArchiveSettings& settings) const;
};

// The format for a new archive of this name, by its archive extension in upper or lower case.
// Throws UsageError when there is none, or when archives of it cannot be created.
//
//   "photos.tar.gz", "X.TGZ"   => tar.gz
//   "photos.zip"               => zip
//   "photos.rar"               => UsageError
const Format& formatFor(const std::string& archive);

// The options for a new archive of the format, as the user has given them: a level by its name or
// number, and a method by its name, which needs a password. Throws UsageError for what the format
// does not offer.
std::shared_ptr<OXArchiveSettings> settingsFor(const Format& format,
                                               const std::optional<std::string>& level,
                                               const std::optional<std::string>& method,
                                               bool isEncrypted);

}  // namespace oxarchive

#pragma once

#include <OrvexKit/OXArchiveSettings.h>
#include <archive.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace oxarchive {

// The numbers of a format's compression levels.
struct Levels {
  int first = 0;
  int last = 0;
  int fastest = 0;  // without counting "not at all"
  int normal = 0;
};

// A format, and how libarchive is told to write it.
struct Format {
  std::string name{};
  std::vector<std::string> extensions{};          // in lower case, without dots
  int (*setFormat)(struct ::archive*) = nullptr;  // none: it is read alone
  std::string compressor{};                       // what takes the level; none: not compressed
  Levels levels{};
  std::vector<std::string> options{};  // for every archive, in libarchive's words
  std::vector<std::string> methods{};  // of encryption, in libarchive's words; the first is usual

  // Whether it is tar, where the compression is a filter around it and names may be any bytes.
  bool isTar() const;

  // Whether libarchive keeps the contents in a temporary file until the archive is written.
  bool isKeptBack() const;

  // The level and the method that `settings` choose; nothing when there is none to choose.
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

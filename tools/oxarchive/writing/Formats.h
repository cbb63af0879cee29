// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/OXArchiveSettings.h>
#include <archive.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace oxarchive {

// A format's compression levels.
struct Levels {
  int first = 0;
  int last = 0;
  int fastest = 0;  // that compresses at all
  int normal = 0;
};

// A format and its settings in libarchive.
struct Format {
  std::string name{};
  std::vector<std::string> extensions{};          // in lower case, without dots
  int (*setFormat)(struct ::archive*) = nullptr;  // null: read-only
  std::string compressor{};                       // the module with the level; "": none
  Levels levels{};
  std::vector<std::string> options{};  // always set, in libarchive's syntax
  std::vector<std::string>
      methods{};  // of encryption, in libarchive's terms; the first is the default

  // Whether it is tar: compression is a filter around it, and names may be any bytes.
  bool isTar() const;

  // Whether libarchive needs a temporary file for the contents until the archive is written.
  bool isKeptBack() const;

  // The level and the method in `settings`, for formats that have them.
  std::string level(const OXArchiveSettings& settings) const;
  const std::string& method(const OXArchiveSettings& settings) const;
};

// The format of a new archive, by the archive extension of its name in upper or lower case. Throws
// UsageError if the extension is unknown or the format is read-only.
//
//   "photos.tar.gz", "X.TGZ"   => tar.gz
//   "photos.zip"               => zip
//   "photos.rar"               => UsageError
const Format& formatFor(const std::string& archive);

// Converts the user's options: a level is a name or a number; a method is a name and needs a
// password. Throws UsageError for what the format does not support.
std::shared_ptr<OXArchiveSettings> settingsFor(const Format& format,
                                               const std::optional<std::string>& level,
                                               const std::optional<std::string>& method,
                                               bool isEncrypted);

}  // namespace oxarchive

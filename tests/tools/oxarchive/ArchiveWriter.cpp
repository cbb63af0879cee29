// SPDX-License-Identifier: MIT

#include "ArchiveWriter.h"

#include <archive_entry.h>
#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstdio>
#include <ctime>
#include <memory>
#include <random>
#include <utility>

namespace ox::test {
namespace {

// Formats with names in UTF-16 or UTF-8 convert them from the locale's encoding.
class Utf8Locale {
 public:
  Utf8Locale() : before_(std::setlocale(LC_CTYPE, nullptr)) {
    static_cast<void>(std::setlocale(LC_CTYPE, "C.UTF-8"));
  }
  ~Utf8Locale() { static_cast<void>(std::setlocale(LC_CTYPE, before_.c_str())); }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  std::string before_;
};

void writeItem(struct ::archive* archive, const Item& item) {
  const std::unique_ptr<struct ::archive_entry, void (*)(struct ::archive_entry*)> entry(
      ::archive_entry_new(), ::archive_entry_free);
  ::archive_entry_set_pathname(entry.get(), item.path.c_str());
  ::archive_entry_set_mode(entry.get(), item.type | item.permissions);
  ::archive_entry_set_size(entry.get(), static_cast<la_int64_t>(item.contents.size()));
  // With a fraction, which needs a separate record in the pax format.
  ::archive_entry_set_mtime(entry.get(), static_cast<std::time_t>(item.modified), 500'000'000);
  ::archive_entry_set_nlink(entry.get(), 1);
  if (!item.symbolicLink.empty()) {
    ::archive_entry_set_symlink(entry.get(), item.symbolicLink.c_str());
  }
  if (!item.hardLink.empty()) {
    ::archive_entry_set_hardlink(entry.get(), item.hardLink.c_str());
  }
  ASSERT_GE(::archive_write_header(archive, entry.get()), ARCHIVE_WARN)
      << item.path << ": " << ::archive_error_string(archive);
  ASSERT_EQ(::archive_write_data(archive, item.contents.data(), item.contents.size()),
            static_cast<la_ssize_t>(item.contents.size()));
}

}  // namespace

Item file(std::string path, std::string contents) {
  return {.path = std::move(path), .contents = std::move(contents)};
}

Item folder(std::string path, mode_t permissions) {
  return {.path = std::move(path), .contents = "", .type = S_IFDIR, .permissions = permissions};
}

Item symbolicLink(std::string path, std::string target) {
  return {.path = std::move(path),
          .contents = "",
          .type = S_IFLNK,
          .permissions = 0777,
          .symbolicLink = std::move(target)};
}

Item hardLink(std::string path, std::string target) {
  return {.path = std::move(path), .contents = "", .hardLink = std::move(target)};
}

void writeArchive(const std::string& path, const std::vector<Item>& items,
                  const ArchiveOptions& options) {
  const Utf8Locale locale;
  const std::unique_ptr<struct ::archive, int (*)(struct ::archive*)> archive(::archive_write_new(),
                                                                              ::archive_write_free);
  ASSERT_GE(options.format(archive.get()), ARCHIVE_WARN);
  ASSERT_EQ(options.filter(archive.get()), ARCHIVE_OK);
  if (!options.options.empty()) {
    ASSERT_EQ(::archive_write_set_options(archive.get(), options.options.c_str()), ARCHIVE_OK)
        << ::archive_error_string(archive.get());
  }
  if (!options.passphrase.empty()) {
    ASSERT_EQ(::archive_write_set_passphrase(archive.get(), options.passphrase.c_str()),
              ARCHIVE_OK);
  }
  ASSERT_EQ(::archive_write_open_filename(archive.get(), path.c_str()), ARCHIVE_OK);
  for (const Item& item : items) {
    writeItem(archive.get(), item);
  }
  ASSERT_EQ(::archive_write_close(archive.get()), ARCHIVE_OK)
      << ::archive_error_string(archive.get());
}

void setTarCheckSum(std::string& header) {
  constexpr std::size_t start = 148;
  header.replace(start, 8, 8, ' ');
  unsigned sum = 0;
  for (const char byte : header) {
    sum += static_cast<unsigned char>(byte);
  }
  std::array<char, 7> digits{};
  static_cast<void>(std::snprintf(digits.data(), digits.size(), "%06o", sum));
  header.replace(start, digits.size(), digits.data(), digits.size());
}

std::string noise(std::size_t size, unsigned seed) {
  std::mt19937 generator(seed);  // the same on every machine
  std::string result(size, '\0');
  for (char& byte : result) {
    byte = static_cast<char>(generator() & 0xFFU);
  }
  return result;
}

}  // namespace ox::test

// SPDX-License-Identifier: MIT

// Writes archives for the tests, with any names and links that a hostile one may have.

#pragma once

#include <archive.h>
#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ox::test {

struct Item {
  std::string path{};
  std::string contents{};
  mode_t type = S_IFREG;
  mode_t permissions = 0644;
  std::string symbolicLink{};
  std::string hardLink{};
  std::int64_t modified = 1'000'000'000;
};

Item file(std::string path, std::string contents = "contents");
Item folder(std::string path, mode_t permissions = 0755);
Item symbolicLink(std::string path, std::string target);
Item hardLink(std::string path, std::string target);

using ArchiveFormat = int (*)(struct ::archive*);
using ArchiveFilter = int (*)(struct ::archive*);

constexpr ArchiveFilter noFilter = ::archive_write_add_filter_none;

struct ArchiveOptions {
  ArchiveFormat format = ::archive_write_set_format_pax_restricted;
  ArchiveFilter filter = noFilter;
  std::string options{};     // in libarchive's syntax
  std::string passphrase{};  // "" for none
};

// Writes an archive to the file at `path`.
void writeArchive(const std::string& path, const std::vector<Item>& items,
                  const ArchiveOptions& options = {});

// Updates the checksum in `header`, a complete tar header.
void setTarCheckSum(std::string& header);

// Some kilobytes that cannot be compressed, the same in every run.
std::string noise(std::size_t size, unsigned seed = 1);

}  // namespace ox::test

// SPDX-License-Identifier: MIT

#include "reading/UnknownFormat.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "volumes/VolumeStream.h"

namespace oxarchive {
namespace {

using namespace std::string_view_literals;

struct ForeignFormat {
  std::size_t offset;
  std::string_view mark;
  const char* name;
  const char* reader;
};

constexpr const char* zipVolume = "a volume of a ZIP archive";
constexpr const char* zipJoiner = "7-Zip reads it, and \"zip -s 0\" joins the volumes";

constexpr auto foreignFormats = std::to_array<ForeignFormat>({
    {0, "PK\7\10"sv, zipVolume, zipJoiner},
    {0, "\x60\xEA"sv, "an ARJ archive", "7-Zip and arj read it"},
    {7, "**ACE**"sv, "an ACE archive", "unace reads it"},
    {0, "MSWIM\0\0\0"sv, "a Windows image (WIM)", "7-Zip and wimlib read it"},
    {0, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, "an OLE file, as installers (MSI) are",
     "7-Zip and msitools read it"},
    {0, "hsqs"sv, "a SquashFS image", "unsquashfs reads it"},
    {0, "7kSt"sv, "a ZPAQ archive", "zpaq reads it"},
    {0, "zPQ"sv, "a ZPAQ archive", "zpaq reads it"},
    {0, "LRZI"sv, "compressed by lrzip", "lrunzip reads it"},
    {0, "\x89LZO\0\r\n\x1A\n"sv, "compressed by lzop", "lzop reads it"},
    {0, "ITSF"sv, "a Windows help file (CHM)", "7-Zip reads it"},
    {20, "\xDC\xA7\xC4\xFD"sv, "a Zoo archive", "zoo reads it"},
    {0, "\0\0\0\x7B"sv, "a Disk ARchive (dar)", "dar reads it"},
    {0, "-----BEGIN PGP MESSAGE"sv, "encrypted by OpenPGP", "gpg decrypts it"},
});

// Whether the end record of a ZIP archive has a volume number other than that of the first.
bool isLastZipVolume(const std::string& end) {
  const std::size_t mark = end.rfind("PK\5\6");
  return mark != std::string::npos && mark + 6 <= end.size() && end.substr(mark + 4, 2) != "\0\0"sv;
}

// ".z01"
bool isNamedAsZipVolume(const std::string& path) {
  const std::string name = path.substr(path.rfind('.') + 1);
  return name.size() >= 3 && (name[0] == 'z' || name[0] == 'Z') &&
         name.find_first_not_of("0123456789", 1) == std::string::npos;
}

}  // namespace

std::string reasonForUnknownFormat(const std::string& path) {
  constexpr std::uint64_t largestZipEnd = 22 + 65535;
  VolumeStream file({path});
  const std::string start = file.read(0, 64);
  const std::uint64_t zipEnd = file.size() - std::min(file.size(), largestZipEnd);
  const auto* const format = std::ranges::find_if(foreignFormats, [&](const ForeignFormat& each) {
    return start.size() >= each.offset &&
           std::string_view(start).substr(each.offset).starts_with(each.mark);
  });
  const auto reason = [](const std::string& name, const std::string& reader) {
    return "it is " + name + ", which is not supported; " + reader;
  };
  if (format != foreignFormats.end()) {
    return reason(format->name, format->reader);
  }
  if (isNamedAsZipVolume(path) ||
      (!start.starts_with("PK\3\4") && isLastZipVolume(file.read(zipEnd, largestZipEnd)))) {
    return reason(zipVolume, zipJoiner);
  }
  return "it is not an archive of a known format, or it is damaged";
}

}  // namespace oxarchive

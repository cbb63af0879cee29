// SPDX-License-Identifier: MIT

#include "fileinfo/Digest.h"

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/FileDescriptor.h"
#include "platform/files/Files.h"

namespace ox {
namespace {

std::optional<std::uint64_t> sizeOfRegularFile(int fd) noexcept {
  struct ::stat status;
  if (statusOf(fd, status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(status.st_size);
}

std::string hexadecimal(const Md5& md5) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * md5.digest.size());
  for (const unsigned char byte : md5.digest) {
    text += digits[byte >> 4U];
    text += digits[byte & 15U];
  }
  return text;
}

}  // namespace

// Reads to the end of the file, not to its size: it may grow, and files in /proc report 0. The size
// only decides where a large file is truncated. A file that reaches the limit although it reported
// less is read again, with its new size. If that is too small as well, there is no digest.
std::optional<Md5> digestOfFile(int fd, std::uint64_t countLimit) {
  for (const bool isReadAgain : {false, true}) {
    const std::optional<std::uint64_t> size = sizeOfRegularFile(fd);
    const bool isCut = size >= countLimit;
    if (!size || (isReadAgain && !isCut)) {
      return std::nullopt;
    }
    const std::optional<Md5> md5 = md5Of(fd, isCut ? *size % countLimit : countLimit);
    if (!md5 || isCut || md5->byteCount < countLimit) {
      return md5;
    }
    if (seekToStart(fd) != 0) {
      return std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace ox

OXString OXGenerateMD5DigestForFile(OXStringView path) {
  if (!path) {
    return std::nullopt;
  }
  const ox::FileDescriptor file = ox::files::openRegularFile(ox::PathBuffer(*path));
  const auto md5 = file.isOpen() ? ox::digestOfFile(file.get()) : std::nullopt;
  return md5 ? OXString(ox::hexadecimal(*md5)) : std::nullopt;
}

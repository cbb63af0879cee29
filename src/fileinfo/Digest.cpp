#include "fileinfo/Digest.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/FileDescriptor.h"
#include "platform/files/Files.h"

namespace ox {
namespace {

// Adds up to `limit` bytes, and gives their number: less than `limit` when the file ends before. No
// value when reading fails.
std::optional<std::uint64_t> addFrom(int fd, std::uint64_t limit, Md5& digest) {
  // Small enough to stay in the processor's cache between reading and digesting.
  std::vector<std::byte> buffer(65536);
  std::uint64_t total = 0;
  for (std::size_t count = 1; count > 0 && total < limit; total += count) {
    const auto wanted = std::min<std::uint64_t>(buffer.size(), limit - total);
    if (readSome(fd, std::span(buffer).first(static_cast<std::size_t>(wanted)), count) != 0 ||
        !digest.add(buffer.data(), count)) {
      return std::nullopt;
    }
  }
  return total;
}

std::optional<std::uint64_t> sizeOfRegularFile(int fd) noexcept {
  struct ::stat status;
  if (statusOf(fd, status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(status.st_size);
}

std::string hexadecimal(const Md5::Digest& digest) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * digest.size());
  for (const unsigned char byte : digest) {
    text += digits[byte >> 4U];
    text += digits[byte & 15U];
  }
  return text;
}

}  // namespace

// A file is read to its end, whatever size it claims: it may grow, and files in /proc claim none.
// The size is only asked for to know about the cut beforehand. A file that reaches the limit while
// it is read is read again, with the size that it has by then; one that still claims to be smaller
// has no size to cut by.
std::optional<Md5::Digest> digestOfFile(int fd, std::uint64_t countLimit) {
  for (const bool isReadAgain : {false, true}) {
    const std::optional<std::uint64_t> size = sizeOfRegularFile(fd);
    const bool isCut = size >= countLimit;
    if (!size || (isReadAgain && !isCut)) {
      return std::nullopt;
    }
    std::optional<Md5> digest = Md5::start();
    const std::optional<std::uint64_t> count =
        digest ? addFrom(fd, isCut ? *size % countLimit : countLimit, *digest) : std::nullopt;
    if (!count) {
      return std::nullopt;
    }
    if (isCut || *count < countLimit) {
      return digest->finish();
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
  const auto digest = file.isOpen() ? ox::digestOfFile(file.get()) : std::nullopt;
  return digest ? OXString(ox::hexadecimal(*digest)) : std::nullopt;
}

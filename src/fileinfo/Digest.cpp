#include "fileinfo/Digest.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/FileDescriptor.h"
#include "platform/files/Files.h"

namespace ox {
namespace {

// Small enough to stay in the processor's cache between reading and digesting.
constexpr std::size_t bufferSize = 65536;

class Buffer {
 public:
  // Adds up to `limit` bytes, and gives their number: less than `limit` when the file ends before.
  // No value when reading fails.
  std::optional<std::uint64_t> addTo(Md5& digest, int fd, std::uint64_t limit) noexcept {
    std::uint64_t total = 0;
    while (total < limit) {
      const auto wanted =
          static_cast<std::size_t>(std::min<std::uint64_t>(bufferSize, limit - total));
      std::size_t count = 0;
      if (readSome(fd, std::as_writable_bytes(std::span(bytes_.get(), wanted)), count) != 0 ||
          !digest.add(bytes_.get(), count)) {
        return std::nullopt;
      }
      if (count == 0) {
        break;
      }
      total += count;
    }
    return total;
  }

 private:
  std::unique_ptr<char[]> bytes_ =                         // NOLINT(modernize-avoid-c-arrays)
      std::make_unique_for_overwrite<char[]>(bufferSize);  // NOLINT(modernize-avoid-c-arrays)
};

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
  Buffer buffer;
  std::optional<std::uint64_t> size = sizeOfRegularFile(fd);
  if (size && *size < countLimit) {
    std::optional<Md5> digest = Md5::start();
    const std::optional<std::uint64_t> count =
        digest ? buffer.addTo(*digest, fd, countLimit) : std::nullopt;
    if (!count) {
      return std::nullopt;
    }
    if (*count < countLimit) {
      return digest->finish();
    }
    size = seekToStart(fd) == 0 ? sizeOfRegularFile(fd) : std::nullopt;
  }
  if (!size || *size < countLimit) {
    return std::nullopt;
  }
  std::optional<Md5> digest = Md5::start();
  return digest && buffer.addTo(*digest, fd, *size % countLimit) ? digest->finish() : std::nullopt;
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

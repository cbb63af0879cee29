#include "fileinfo/Digest.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/FileDescriptor.h"
#include "platform/files/Files.h"
#include "platform/files/PathBuffer.h"
#include "platform/files/System.h"

namespace {

using namespace ox;

// Small enough to stay in the processor's cache between reading and digesting.
constexpr std::size_t bufferSize = 65536;

// Never waits, and never changes what it opens: a device may act on being opened, and a pipe would
// wait for its writer, so neither is.
FileDescriptor openRegularFile(std::string_view path) noexcept {
  const PathBuffer bytes(path);
  const auto status = files::statusOf(bytes);
  if (!status || !S_ISREG(status->st_mode)) {
    return {};
  }
  int fd = -1;
  do {
    fd = sys::open(bytes.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  return FileDescriptor(fd);
}

class Buffer {
 public:
  // Adds up to `limit` bytes, and gives their number: less than `limit` when the file ends before.
  // No value when reading fails.
  std::optional<std::uint64_t> addTo(Md5& digest, int fd, std::uint64_t limit) noexcept {
    std::uint64_t total = 0;
    while (total < limit) {
      const auto wanted =
          static_cast<std::size_t>(std::min<std::uint64_t>(bufferSize, limit - total));
      const ssize_t count = sys::read(fd, bytes_.get(), wanted);
      if (count < 0 && errno == EINTR) {
        continue;
      }
      if (count < 0 || !digest.add(bytes_.get(), static_cast<std::size_t>(count))) {
        return std::nullopt;
      }
      if (count == 0) {
        break;
      }
      total += static_cast<std::uint64_t>(count);
    }
    return total;
  }

 private:
  std::unique_ptr<char[]> bytes_ =                         // NOLINT(modernize-avoid-c-arrays)
      std::make_unique_for_overwrite<char[]>(bufferSize);  // NOLINT(modernize-avoid-c-arrays)
};

std::optional<std::uint64_t> sizeOfRegularFile(int fd) noexcept {
  struct stat status;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the call
  if (sys::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
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
std::optional<Md5::Digest> ox::digestOfFile(int fd, std::uint64_t countLimit) {
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
    size = sys::lseek(fd, 0, SEEK_SET) == 0 ? sizeOfRegularFile(fd) : std::nullopt;
  }
  if (!size || *size < countLimit) {
    return std::nullopt;
  }
  std::optional<Md5> digest = Md5::start();
  return digest && buffer.addTo(*digest, fd, *size % countLimit) ? digest->finish() : std::nullopt;
}

OXString OXGenerateMD5DigestForFile(OXStringView path) {
  const FileDescriptor file = path ? openRegularFile(*path) : FileDescriptor();
  if (!file.isOpen()) {
    return std::nullopt;
  }
  const std::optional<Md5::Digest> digest = digestOfFile(file.get());
  return digest ? OXString(hexadecimal(*digest)) : std::nullopt;
}

// SPDX-License-Identifier: MIT

#include "writing/ArchiveWriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "console/Failure.h"
#include "console/Printable.h"
#include "reading/LibarchiveFeed.h"
#include "system/Files.h"

namespace oxarchive {
namespace {

constexpr std::int64_t startOf1601 = -11'644'473'600;

constexpr std::size_t bufferSize = 128 * std::size_t{1024};

bool hasHoles(const struct ::stat& status) {
  return status.st_blocks < status.st_size / 512;
}

[[noreturn]] void failToRead(const std::string& disk, int error) {
  throw ArchiveFailure(withSystemReason(printable(disk) + " cannot be read", error));
}

[[noreturn]] void failAsChanged(const std::string& disk) {
  throw ArchiveFailure(printable(disk) + " was changed while it was packed");
}

// The size of the hole at `position`; 0 if there is none or it is unknown.
std::uint64_t sizeOfHole(int file, const std::string& disk, std::uint64_t position,
                         std::uint64_t size) {
  const off_t data = ::lseek(file, static_cast<off_t>(position), SEEK_DATA);
  if (data >= 0) {
    return std::min(static_cast<std::uint64_t>(data), size) - position;
  }
  struct ::stat status {};
  if (errno != ENXIO || ::fstat(file, &status) != 0) {
    return 0;
  }
  if (static_cast<std::uint64_t>(status.st_size) < size) {
    failAsChanged(disk);
  }
  return size - position;
}

}  // namespace

ArchiveWriter::ArchiveWriter(const Format& format, const OXArchiveSettings& settings, int file,
                             Progress progress)
    : isUnicode_(!format.isTar()),
      firstTime_(format.isTar()               ? INT64_MIN
                 : format.compressor == "zip" ? 0
                                              : startOf1601),
      lastTime_(format.compressor == "zip" ? UINT32_MAX : INT64_MAX),
      file_(file),
      progress_(std::move(progress)),
      digest_(orThrow(::g_checksum_new(G_CHECKSUM_MD5))),
      links_(orThrow(::archive_entry_linkresolver_new())),
      disk_(orThrow(::archive_read_disk_new())),
      buffer_(bufferSize),
      archive_(orThrow(::archive_write_new())) {
  ::archive_read_disk_set_symlink_physical(disk_.get());
  ::archive_read_disk_set_standard_lookup(disk_.get());
  configure(format, settings);
  ::archive_entry_linkresolver_set_strategy(links_.get(), ::archive_format(archive_.get()));
}

// libarchive frees an unfinished archive either by finishing it, which may take long because it
// adds the missing data as zeros, or with a memory leak. So it is kept until the process ends.
ArchiveWriter::~ArchiveWriter() {
  if (!isFinished_) {
    [[maybe_unused]] static struct ::archive* volatile unfinished = nullptr;
    unfinished = archive_.release();
  }
}

void ArchiveWriter::configure(const Format& format, const OXArchiveSettings& settings) {
  check(format.setFormat(archive_.get()));
  if (format.isTar() && !format.compressor.empty()) {
    check(::archive_write_add_filter_by_name(archive_.get(), format.compressor.c_str()));
  }
  for (const std::string& option : format.options) {
    setOption(option);
  }
  if (!format.compressor.empty()) {
    setOption(format.compressor + ":compression-level=" + format.level(settings));
  }
  if (const OXString password = settings.password()) {
    setOption(format.compressor + ":encryption=" + format.method(settings));
    check(::archive_write_set_passphrase(archive_.get(), password->c_str()));
  }
  ::archive_write_set_bytes_per_block(archive_.get(), bufferSize);
  ::archive_write_set_bytes_in_last_block(archive_.get(), 1);
  check(::archive_write_open2(archive_.get(), this, nullptr, write, nullptr, nullptr));
}

void ArchiveWriter::setOption(const std::string& option) {
  check(::archive_write_set_options(archive_.get(), option.c_str()));
}

void ArchiveWriter::add(const std::string& path, const std::string& disk, bool isFolder) {
  progress_(0);
  if (isUnicode_ && ::g_utf8_validate_len(path.data(), path.size(), nullptr) == 0) {
    throw ArchiveFailure(printable(disk) +
                         ": names in this format are Unicode, and this one is not");
  }
  Descriptor file;
  if (!isFolder) {
    // Does not block if the file has been replaced by a pipe, and follows no symbolic link.
    file = Descriptor(::open(disk.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen() && errno != ELOOP) {
      failToRead(disk, errno);
    }
  }
  struct ::stat status {};
  if ((file.isOpen() ? ::fstat(file.get(), &status) : ::lstat(disk.c_str(), &status)) != 0) {
    failToRead(disk, errno);
  }
  const mode_t expected = isFolder ? S_IFDIR : file.isOpen() ? S_IFREG : S_IFLNK;
  if ((status.st_mode & S_IFMT) != expected) {
    failAsChanged(disk);
  }
  const EntryPointer entry = readEntry(path, disk, file.get(), status);
  check(::archive_write_header(archive_.get(), entry.get()));
  if (file.isOpen() && ::archive_entry_hardlink(entry.get()) == nullptr) {
    writeContents(file.get(), disk, status);
  }
  check(::archive_write_finish_entry(archive_.get()));
}

ArchiveWriter::EntryPointer ArchiveWriter::readEntry(const std::string& path,
                                                     const std::string& disk, int file,
                                                     const struct ::stat& status) {
  EntryPointer entry(orThrow(::archive_entry_new()));
  ::archive_entry_copy_pathname(entry.get(), path.c_str());
  ::archive_entry_copy_sourcepath(entry.get(), disk.c_str());
  constexpr int always =
      ARCHIVE_READDISK_NO_ACL | ARCHIVE_READDISK_NO_XATTR | ARCHIVE_READDISK_NO_FFLAGS;
  ::archive_read_disk_set_behavior(disk_.get(),
                                   hasHoles(status) ? always : always | ARCHIVE_READDISK_NO_SPARSE);
  if (::archive_read_disk_entry_from_file(disk_.get(), entry.get(), file, &status) < ARCHIVE_WARN) {
    failToRead(disk, ::archive_errno(disk_.get()));
  }
  const std::int64_t time = ::archive_entry_mtime(entry.get());
  if (time < firstTime_ || time > lastTime_) {
    const std::int64_t nearest = std::clamp(time, firstTime_, lastTime_);
    ::archive_entry_set_mtime(entry.get(), static_cast<time_t>(nearest), 0);
    result_.warnings.push_back(printable(disk) +
                               ": the format cannot hold its time; the nearest is packed");
  }
  // The access time is private, and would make each archive different.
  ::archive_entry_unset_atime(entry.get());
  ::archive_entry_unset_ctime(entry.get());
  ::archive_entry_unset_birthtime(entry.get());
  struct ::archive_entry* linked = entry.release();
  struct ::archive_entry* none = nullptr;
  ::archive_entry_linkify(links_.get(), &linked, &none);
  return EntryPointer(linked);
}

Bytes ArchiveWriter::readBlock(int file, const std::string& disk, std::uint64_t position,
                               std::uint64_t size) {
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, buffer_.size()));
  const ssize_t count =
      retried([&] { return ::pread(file, buffer_.data(), wanted, static_cast<off_t>(position)); });
  if (count < 0) {
    failToRead(disk, errno);
  }
  if (count == 0) {
    failAsChanged(disk);
  }
  return Bytes(buffer_).first(static_cast<std::size_t>(count));
}

// If the file grows meanwhile, packs its original size.
void ArchiveWriter::writeContents(int file, const std::string& disk, const struct ::stat& status) {
  static const std::vector<std::byte> zeros(std::size_t{1} << 20U);
  const auto size = static_cast<std::uint64_t>(status.st_size);
  for (std::uint64_t done = 0; done < size;) {
    const std::uint64_t hole = hasHoles(status) ? sizeOfHole(file, disk, done, size) : 0;
    const Bytes block = hole > 0 ? Bytes(zeros).first(static_cast<std::size_t>(
                                       std::min<std::uint64_t>(hole, zeros.size())))
                                 : readBlock(file, disk, done, size - done);
    progress_(block.size());
    if (::archive_write_data(archive_.get(), block.data(), block.size()) !=
        static_cast<la_ssize_t>(block.size())) {
      fail();
    }
    done += block.size();
  }
}

ArchiveWriter::Result ArchiveWriter::finish() {
  check(::archive_write_close(archive_.get()));
  isFinished_ = true;
  result_.digest = ::g_checksum_get_string(digest_.get());
  return result_;
}

// The only warning is that a name cannot be converted, which is then written unchanged.
void ArchiveWriter::check(int result) {
  if (result < ARCHIVE_WARN) {
    fail();
  }
}

void ArchiveWriter::fail() {
  if (writeError_ != 0) {
    throw ArchiveFailure(withSystemReason("it cannot be written", writeError_));
  }
  throw ArchiveFailure(failureReason(archive_.get()));
}

la_ssize_t ArchiveWriter::write(struct ::archive* archive, void* self, const void* bytes,
                                std::size_t size) {
  auto& writer = *static_cast<ArchiveWriter*>(self);
  const ssize_t count = retried([&] { return ::write(writer.file_, bytes, size); });
  if (count < 0) {
    writer.writeError_ = errno;
    ::archive_set_error(archive, errno, "the archive cannot be written");
    return ARCHIVE_FATAL;
  }
  ::g_checksum_update(writer.digest_.get(), static_cast<const guchar*>(bytes), count);
  writer.result_.size += static_cast<std::uint64_t>(count);
  return count;
}

}  // namespace oxarchive

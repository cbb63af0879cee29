// SPDX-License-Identifier: MIT

#include "tour/ArchiveWorker.h"

#include <OrvexKit/OrvexKit.h>
#include <archive.h>
#include <archive_entry.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <clocale>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "tour/Report.h"

namespace tour {
namespace {

constexpr std::size_t blockSize = 65'536;
constexpr std::uint64_t reportStep = 262'144;
constexpr rlim_t mostMemory = 2'000'000'000;

struct FreeReader {
  void operator()(archive* reader) const { ::archive_read_free(reader); }
};
struct FreeDisk {
  void operator()(archive* disk) const { ::archive_write_free(disk); }
};
using Reader = std::unique_ptr<archive, FreeReader>;
using Disk = std::unique_ptr<archive, FreeDisk>;

void check(int status, archive* archive) {
  if (status < ARCHIVE_WARN) {
    const char* const reason = ::archive_error_string(archive);
    throw std::runtime_error(reason != nullptr ? reason : "it cannot be read");
  }
}

// Not all that libarchive knows: an archive in the mtree format makes it open other files of the
// user's, and for some filters it starts other programs.
Reader openArchive(const std::vector<std::string>& volumes) {
  Reader reader(::archive_read_new());
  if (!reader) {
    throw std::bad_alloc();
  }
  for (const int format :
       {ARCHIVE_FORMAT_7ZIP, ARCHIVE_FORMAT_CAB, ARCHIVE_FORMAT_CPIO, ARCHIVE_FORMAT_ISO9660,
        ARCHIVE_FORMAT_LHA, ARCHIVE_FORMAT_RAR, ARCHIVE_FORMAT_RAR_V5, ARCHIVE_FORMAT_TAR,
        ARCHIVE_FORMAT_XAR, ARCHIVE_FORMAT_ZIP}) {
    check(::archive_read_support_format_by_code(reader.get(), format), reader.get());
  }
  for (const int filter : {ARCHIVE_FILTER_GZIP, ARCHIVE_FILTER_BZIP2, ARCHIVE_FILTER_LZMA,
                           ARCHIVE_FILTER_XZ, ARCHIVE_FILTER_LZ4, ARCHIVE_FILTER_ZSTD}) {
    check(::archive_read_support_filter_by_code(reader.get(), filter), reader.get());
  }
  std::vector<const char*> paths;
  paths.reserve(volumes.size() + 1);
  for (const std::string& volume : volumes) {
    paths.push_back(volume.c_str());
  }
  paths.push_back(nullptr);
  check(::archive_read_open_filenames(reader.get(), paths.data(), blockSize), reader.get());
  return reader;
}

// The next entry, or null after the last.
archive_entry* nextEntry(archive* reader) {
  archive_entry* entry = nullptr;
  const int status = ::archive_read_next_header(reader, &entry);
  check(status, reader);
  return status == ARCHIVE_EOF ? nullptr : entry;
}

// Null for an entry without a name, and for "/", the top of the archive.
std::optional<std::string_view> pathOf(archive_entry* entry) {
  const char* const path = ::archive_entry_pathname(entry);
  if (path == nullptr || *path == '\0' || std::string_view(path) == "/") {
    return std::nullopt;
  }
  return path;
}

// Sends the reports, and remembers whether one of them was a failure.
class Reporter {
 public:
  void send(const Report& report) {
    encoder_.reset();
    report.encodeWithCoder(encoder_);
    writer_.write(encoder_.item());
  }

  void sendFailure(OXStringView path, const char* reason) {
    isComplete_ = false;
    Report report;
    report.setPath(path);
    report.written = written_;
    report.failure = reason;
    send(report);
  }

  // At once, so that the user sees it.
  void sendProgress() {
    Report report;
    report.written = reported_ = written_;
    send(report);
    writer_.flush();
  }

  void countWritten(std::size_t size) {
    written_ += size;
    if (written_ - reported_ >= reportStep) {
      sendProgress();
    }
  }

  // Whether everything has been done and told.
  bool finish() { return writer_.flush() && isComplete_; }

 private:
  OXCBOREncoder encoder_{OXCBORMode::keyed};
  OXCBORSequenceWriter writer_{STDOUT_FILENO};
  std::uint64_t written_ = 0;
  std::uint64_t reported_ = 0;
  bool isComplete_ = true;
};

void listArchive(archive* reader, Reporter& reporter) {
  OXUnsignedWord number = 0;
  while (archive_entry* const entry = nextEntry(reader)) {
    Report report;
    report.setPath(pathOf(entry));
    report.setFileId(++number);
    report.setActualSize(static_cast<std::uint64_t>(::archive_entry_size(entry)));
    report.setIsFolder(::archive_entry_filetype(entry) == AE_IFDIR);
    report.setIsEncrypted(::archive_entry_is_encrypted(entry) != 0);
    if (::archive_entry_mtime_is_set(entry) != 0) {
      report.setModificationTime(
          std::chrono::system_clock::from_time_t(::archive_entry_mtime(entry)));
    }
    reporter.send(report);
  }
}

void extractEntry(archive* reader, archive_entry* entry, archive* disk, Reporter& reporter) {
  const auto kind = ::archive_entry_filetype(entry);
  if (::archive_entry_hardlink(entry) == nullptr && kind != AE_IFREG && kind != AE_IFDIR &&
      kind != AE_IFLNK) {
    throw std::runtime_error("it is no file, folder or link");
  }
  check(::archive_write_header(disk, entry), disk);
  const void* bytes = nullptr;
  std::size_t size = 0;
  la_int64_t offset = 0;
  int status = ARCHIVE_OK;
  while (status == ARCHIVE_OK || status == ARCHIVE_WARN) {
    status = ::archive_read_data_block(reader, &bytes, &size, &offset);
    if (status != ARCHIVE_EOF) {
      check(status, reader);
      check(static_cast<int>(::archive_write_data_block(disk, bytes, size, offset)), disk);
      reporter.countWritten(size);
    }
  }
  check(::archive_write_finish_entry(disk), disk);
}

// Extracts to the current folder. The flags refuse every entry that would be written elsewhere,
// because of its name or through a link. Owners and special modes are not taken from the archive.
void extractArchive(archive* reader, Reporter& reporter) {
  const Disk disk(::archive_write_disk_new());
  if (!disk) {
    throw std::bad_alloc();
  }
  check(::archive_write_disk_set_options(
            disk.get(), ARCHIVE_EXTRACT_SECURE_NODOTDOT | ARCHIVE_EXTRACT_SECURE_SYMLINKS |
                            ARCHIVE_EXTRACT_SECURE_NOABSOLUTEPATHS | ARCHIVE_EXTRACT_TIME),
        disk.get());
  while (archive_entry* const entry = nextEntry(reader)) {
    const std::string path(pathOf(entry).value_or("(no name)"));
    try {
      extractEntry(reader, entry, disk.get(), reporter);
    } catch (const std::runtime_error& error) {
      // The other entries may be as they should be.
      reporter.sendFailure(path, error.what());
    }
  }
  check(::archive_write_close(disk.get()), disk.get());
  reporter.sendProgress();
}

void work(const std::vector<std::string>& arguments, Reporter& reporter) {
  // The worker ends with the thread that has started it, also when that is killed.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  // An archive that asks for more is damaged, or means harm. Fails where the limit is lower
  // already.
  const rlimit memory{.rlim_cur = mostMemory, .rlim_max = mostMemory};
  static_cast<void>(::setrlimit(RLIMIT_AS, &memory));
  // libarchive gives names in the locale's encoding.
  if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) {
    throw std::runtime_error("there is no locale with UTF-8");
  }
  const bool isListing = arguments.at(0) == "list";
  const Reader reader =
      openArchive(std::vector(arguments.begin() + (isListing ? 1 : 2), arguments.end()));
  if (isListing) {
    listArchive(reader.get(), reporter);
    return;
  }
  if (::chdir(arguments.at(1).c_str()) != 0) {
    throw std::runtime_error("the folder for its contents cannot be entered");
  }
  extractArchive(reader.get(), reporter);
}

}  // namespace

int runWorker(const std::vector<std::string>& arguments) {
  Reporter reporter;
  try {
    work(arguments, reporter);
  } catch (const std::exception& error) {
    reporter.sendFailure(nullptr, error.what());
  }
  return reporter.finish() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace tour

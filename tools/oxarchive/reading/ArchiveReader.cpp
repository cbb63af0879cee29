// SPDX-License-Identifier: MIT

#include "reading/ArchiveReader.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>
#include <zlib.h>

#include <utility>

#include "console/Failure.h"
#include "console/Printable.h"
#include "reading/DecompressedStream.h"
#include "reading/UnknownFormat.h"

namespace oxarchive {
namespace {

constexpr std::uint64_t tarBlockSize = 512;

constexpr const char* notDecryptable =
    "it is encrypted, and only ZIP archives can be decrypted; 7-Zip decrypts others";

// libarchive takes the format with the highest bid. For RAR, LHA and binary cpio it is lower than
// the ZIP reader's, which may have found the end of a ZIP archive stored inside.
bool bidsLessThanZip(std::string_view text) {
  const bool isLha = text.size() >= 7 && text.substr(2, 2) == "-l" && text[6] == '-';
  return isLha || text.starts_with("Rar!\x1A\x07") || text.starts_with("\xC7\x71") ||
         text.starts_with("\x71\xC7");
}

// An end-of-central-directory record followed by nothing but its comment.
bool isEmptyZip(std::string_view text) {
  constexpr std::size_t endSize = 22;
  if (!text.starts_with("PK\5\6") || text.size() < endSize) {
    return false;
  }
  const auto byteAt = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  return text.size() == endSize + byteAt(20) + byteAt(21) * std::size_t{256};
}

void supportFormats(struct ::archive* archive, ByteSource& source, bool isSeekable) {
  for (const auto support :
       {::archive_read_support_format_7zip, ::archive_read_support_format_ar,
        ::archive_read_support_format_cab, ::archive_read_support_format_cpio,
        ::archive_read_support_format_iso9660, ::archive_read_support_format_lha,
        ::archive_read_support_format_rar, ::archive_read_support_format_rar5,
        ::archive_read_support_format_tar, ::archive_read_support_format_xar}) {
    support(archive);
  }
  // Uses the ZIP reader that starts from the central directory: the streaming one accepts a
  // truncated archive. But only the streaming one reads an empty ZIP archive.
  const Bytes start = source.peek();
  const std::string_view text(reinterpret_cast<const char*>(start.data()), start.size());
  if (isEmptyZip(text)) {
    ::archive_read_support_format_zip_streamable(archive);
  } else if (isSeekable && !bidsLessThanZip(text)) {
    ::archive_read_support_format_zip_seekable(archive);
  }
}

std::string textOf(const char* text) {
  return text != nullptr ? text : "";
}

EntryKind kindOf(struct ::archive_entry* entry) {
  if (::archive_entry_hardlink(entry) != nullptr) {
    return EntryKind::hardLink;
  }
  switch (::archive_entry_filetype(entry)) {
    case AE_IFREG:
    case 0:  // `ar` has no file types
      return EntryKind::file;
    case AE_IFDIR:
      return EntryKind::folder;
    case AE_IFLNK:
      return EntryKind::symbolicLink;
    default:
      return EntryKind::other;
  }
}

Entry toEntry(struct ::archive_entry* entry) {
  Entry result;
  result.path = textOf(::archive_entry_pathname(entry));
  result.kind = kindOf(entry);
  if (result.kind == EntryKind::hardLink) {
    result.linkTarget = textOf(::archive_entry_hardlink(entry));
  } else if (result.kind == EntryKind::symbolicLink) {
    result.linkTarget = textOf(::archive_entry_symlink(entry));
  }
  if (::archive_entry_size_is_set(entry) != 0 && ::archive_entry_size(entry) >= 0) {
    result.size = static_cast<std::uint64_t>(::archive_entry_size(entry));
  }
  result.isSparse = ::archive_entry_sparse_count(entry) > 0;
  result.isEncrypted = ::archive_entry_is_encrypted(entry) != 0;
  // `ar` stores no type, nor does tar for hard links.
  const mode_t type = ::archive_entry_filetype(entry);
  result.mode = ::archive_entry_perm(entry) | (type != 0 ? type : mode_t{S_IFREG});
  if (::archive_entry_atime_is_set(entry) != 0) {
    result.times.accessed = {::archive_entry_atime(entry), ::archive_entry_atime_nsec(entry)};
  }
  if (::archive_entry_mtime_is_set(entry) != 0) {
    result.times.modified = {::archive_entry_mtime(entry), ::archive_entry_mtime_nsec(entry)};
  }
  return result;
}

// The RAR volumes that the files are, or the one that was split into them; none for other formats.
std::vector<RarVolume> inspectRarVolumes(const std::vector<std::string>& paths) {
  std::vector<RarVolume> volumes;
  for (const std::string& path : paths) {
    const std::optional<RarVolume> volume = inspectRarVolume({path});
    if (!volume) {
      const auto joined = paths.size() > 1 ? inspectRarVolume(paths) : std::nullopt;
      return joined ? std::vector{*joined} : std::vector<RarVolume>();
    }
    volumes.push_back(*volume);
  }
  return volumes;
}

}  // namespace

ArchiveReader::ArchiveReader(const std::vector<std::string>& paths, OXString password)
    : paths_(paths),
      stream_(paths),
      rarVolumes_(inspectRarVolumes(paths)),
      password_(std::move(password)) {
  if (stream_.size() == 0) {
    throw ArchiveFailure("it is empty, not an archive");
  }
  for (const RarVolume& volume : rarVolumes_) {
    if (volume.hasEncryptedNames) {
      throw ArchiveFailure(notDecryptable);
    }
    rarEntries_.insert(rarEntries_.end(), volume.entries.begin(), volume.entries.end());
  }
  decompressed_ = decompressed(stream_);
  open(0);
}

void ArchiveReader::open(std::size_t firstVolume) {
  archive_ = newReadArchive();
  firstVolume_ = firstVolume;
  isInEntry_ = false;
  if (decompressed_) {
    feed_.emplace(*decompressed_);
    supportFormats(archive_.get(), *decompressed_, false);
  } else {
    feed_.emplace(stream_, firstVolume);
    supportFormats(archive_.get(), stream_, true);
    // libarchive searches for the next RAR 5 volume in blocks of 512 bytes, and would miss a
    // shorter last volume.
    if (rarVolumes_.size() > 1 && rarVolumes_.front().isNewFormat) {
      feed_->setPadding(512);
    }
  }
  if (password_) {
    ::archive_read_set_passphrase_callback(archive_.get(), this, givePassword);
  }
  if (!feed_->open(archive_.get())) {
    feed_->rethrowDamage();
    throw ArchiveFailure(reasonForUnknownFormat(paths_.front()));
  }
}

const Entry* ArchiveReader::next() {
  for (;;) {
    skipData();
    const std::uint64_t lastEntryEnd = consumed();
    struct ::archive_entry* entry = nullptr;
    const int result = ::archive_read_next_header(archive_.get(), &entry);
    feed_->rethrow();
    if (result == ARCHIVE_OK || result == ARCHIVE_WARN) {
      describe(entry);
      // "/" and "//" are tables of an `ar` archive, not files.
      if (baseFormat() == ARCHIVE_FORMAT_AR &&
          entry_.path.find_first_not_of('/') == std::string::npos) {
        continue;
      }
      entry_.warning = result == ARCHIVE_WARN ? failureReason(archive_.get()) : "";
      return &entry_;
    }
    if (result != ARCHIVE_EOF) {
      fail();
    }
    if (!openFollowingVolume()) {
      checkEnd(lastEntryEnd);
      return nullptr;
    }
  }
}

void ArchiveReader::describe(struct ::archive_entry* entry) {
  isInEntry_ = true;
  ++entryCount_;
  checkSum_ = 0;
  isPasswordGiven_ = false;
  isPasswordWrong_ = false;
  entry_ = toEntry(entry);
  // ISO 9660 files may omit zeros at the end, like sparse files.
  entry_.hasHoleAtEnd = entry_.isSparse || baseFormat() == ARCHIVE_FORMAT_ISO9660;
  if (entryCount_ <= rarEntries_.size()) {
    entry_.isEncrypted = entry_.isEncrypted || rarEntries_[entryCount_ - 1].isEncrypted;
  }
}

std::optional<DataBlock> ArchiveReader::readData() {
  if (entry_.isEncrypted && entry_.size != 0) {
    checkEncryption();
  }
  const void* block = nullptr;
  std::size_t size = 0;
  la_int64_t offset = 0;
  const int result = ::archive_read_data_block(archive_.get(), &block, &size, &offset);
  feed_->rethrow();
  if (result == ARCHIVE_EOF) {
    checkData();
    return std::nullopt;
  }
  if (isPasswordWrong_) {
    throw EncryptedEntry("the password is wrong");
  }
  if (result == ARCHIVE_FATAL) {
    fail();
  }
  if (result != ARCHIVE_OK || offset < 0) {
    const std::string reason = failureReason(archive_.get());
    throw EntryFailure(reason + (reason.starts_with("Unsupported") ? "; 7-Zip may read it" : ""));
  }
  // An empty block has a null address, for which zlib would reset the checksum.
  if (!rarEntries_.empty() && size > 0) {
    checkSum_ =
        static_cast<std::uint32_t>(::crc32_z(checkSum_, static_cast<const Bytef*>(block), size));
  }
  return DataBlock{Bytes(static_cast<const std::byte*>(block), size),
                   static_cast<std::uint64_t>(offset)};
}

// libarchive does not verify the checksums of stored RAR entries.
void ArchiveReader::checkData() {
  if (entry_.kind != EntryKind::file || entryCount_ > rarEntries_.size()) {
    return;
  }
  const std::optional<std::uint32_t> expected = rarEntries_[entryCount_ - 1].checkSum;
  if (expected && *expected != checkSum_) {
    throw EntryFailure("its data is damaged: the check sum is wrong");
  }
}

// libarchive first tries the password that was right before, and calls this again if it is wrong.
const char* ArchiveReader::givePassword(struct ::archive* /*archive*/, void* self) {
  auto& reader = *static_cast<ArchiveReader*>(self);
  if (reader.isPasswordGiven_) {
    reader.isPasswordWrong_ = true;
    return nullptr;
  }
  reader.isPasswordGiven_ = true;
  return reader.password_->c_str();
}

// A wrong password is only noticed when data is read.
void ArchiveReader::checkEncryption() const {
  if (baseFormat() != ARCHIVE_FORMAT_ZIP) {
    throw EncryptedEntry(notDecryptable);
  }
  if (!password_) {
    throw EncryptedEntry("it is encrypted, and no password is given");
  }
}

// libarchive stops at the first end marker of RAR 1.5 to 4 that lies between two entries. The
// volumes after it are then read as another archive.
bool ArchiveReader::openFollowingVolume() {
  if (decompressed_ || baseFormat() != ARCHIVE_FORMAT_RAR) {
    return false;
  }
  const std::uint64_t end = stream_.startOf(firstVolume_) + consumed();
  for (std::size_t volume = firstVolume_ + 1; volume < stream_.volumeCount(); ++volume) {
    if (stream_.startOf(volume) >= end) {
      open(volume);
      return true;
    }
  }
  return false;
}

// Finds the end of the data, so that a missing end marker is noticed.
void ArchiveReader::skipData() {
  if (!isInEntry_) {
    return;
  }
  isInEntry_ = false;
  // libarchive skips too little of a sparse file written by Solaris.
  int result = ARCHIVE_OK;
  while (entry_.isSparse && result == ARCHIVE_OK) {
    const void* block = nullptr;
    std::size_t size = 0;
    la_int64_t offset = 0;
    result = ::archive_read_data_block(archive_.get(), &block, &size, &offset);
  }
  if (!entry_.isSparse) {
    result = ::archive_read_data_skip(archive_.get());
  }
  feed_->rethrow();
  // libarchive reports an error for an entry that it cannot decrypt, but can read on.
  if (result < ARCHIVE_WARN && !entry_.isEncrypted) {
    fail();
  }
}

void ArchiveReader::checkEnd(std::uint64_t lastEntryEnd) {
  feed_->rethrowDamage();
  const int format = baseFormat();
  const std::uint64_t end = consumed();
  const bool isReadInOneGo = format == ARCHIVE_FORMAT_TAR || format == ARCHIVE_FORMAT_CPIO;
  if (decompressed_ || isReadInOneGo) {
    feed_->drain();
  }
  // Some programs append a line feed to an archive, as to a text.
  const bool isBlank = feed_->blankEndStart() <= end;
  const bool hasLineFeed = isBlank && feed_->endsWithLineFeedAfter(lastEntryEnd);
  if (format == ARCHIVE_FORMAT_TAR && end - lastEntryEnd < tarBlockSize && !hasLineFeed) {
    throw ArchiveFailure("it has no end mark, so it may have been cut short");
  }
  for (std::size_t i = 0; i < rarVolumes_.size(); ++i) {
    if (rarVolumes_[i].ending == RarVolume::Ending::cutShort) {
      // One that was split ends in the last file.
      const std::size_t last = paths_.size() - rarVolumes_.size() + i;
      throw ArchiveFailure(printable(paths_[last]) + " is cut short");
    }
  }
  if (format == ARCHIVE_FORMAT_RAR_V5 &&
      end <= stream_.startOf(stream_.volumeCount() - 1) - stream_.startOf(firstVolume_)) {
    throw ArchiveFailure("not all of its volumes can be read");
  }
  if (isReadInOneGo && !isBlank) {
    throw ArchiveFailure("more data follows its end mark");
  }
}

void ArchiveReader::fail() {
  feed_->rethrowDamage();
  // The names are encrypted as well, so no entry can be read.
  if (entryCount_ == 0 && ::archive_read_has_encrypted_entries(archive_.get()) == 1) {
    throw ArchiveFailure(notDecryptable);
  }
  throw ArchiveFailure(failureReason(archive_.get()));
}

std::uint64_t ArchiveReader::consumed() const {
  return static_cast<std::uint64_t>(::archive_filter_bytes(archive_.get(), 0));
}

int ArchiveReader::baseFormat() const {
  return ::archive_format(archive_.get()) & ARCHIVE_FORMAT_BASE_MASK;
}

}  // namespace oxarchive

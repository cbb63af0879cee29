// SPDX-License-Identifier: MIT

#include "reading/DecompressedStream.h"

#include <archive.h>
#include <archive_entry.h>
#include <zlib.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "console/Failure.h"
#include "console/Printable.h"
#include "reading/LibarchiveFeed.h"

namespace oxarchive {
namespace {

// Nested compression is rare (an .rpm has two layers), and each layer costs memory.
constexpr int mostLayers = 4;

bool startsAsGzip(Bytes bytes) {
  constexpr std::byte reservedFlags{0xE0};
  return bytes.size() >= 4 && bytes[0] == std::byte{0x1F} && bytes[1] == std::byte{0x8B} &&
         bytes[2] == std::byte{8} && (bytes[3] & reservedFlags) == std::byte{0};
}

// RFC 1952. libarchive reads it too, but ignores the checksum and the length at the end, and so
// accepts damaged data.
class GzipStream final : public ByteSource {
 public:
  GzipStream(ByteSource& source, std::unique_ptr<ByteSource> owned)
      : source_(source), owned_(std::move(owned)), buffer_(bufferSize) {
    constexpr int gzipAlone = 16;
    if (::inflateInit2(&zlib_, MAX_WBITS + gzipAlone) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~GzipStream() override { ::inflateEnd(&zlib_); }

 private:
  static constexpr std::size_t bufferSize = std::size_t{256} * 1024;

  Bytes produce() override {
    zlib_.next_out = buffer_.data();
    zlib_.avail_out = bufferSize;
    try {
      while (zlib_.avail_out > 0 && !isAtEnd_ && !failure_) {
        if (zlib_.avail_in == 0) {
          refill();
        }
        inflateMore();
      }
    } catch (const ArchiveFailure&) {
      failure_ = std::current_exception();
    }
    // Deliver the good data before the error.
    if (failure_ && zlib_.avail_out == bufferSize) {
      std::rethrow_exception(failure_);
    }
    return std::as_bytes(std::span(buffer_).first(bufferSize - zlib_.avail_out));
  }

  void refill() {
    input_ = source_.take();
    zlib_.next_in = reinterpret_cast<const Bytef*>(input_.data());
    zlib_.avail_in = static_cast<uInt>(input_.size());
  }

  void inflateMore() {
    if (zlib_.avail_in == 0) {
      throw ArchiveFailure("its gzip data is cut short");
    }
    switch (::inflate(&zlib_, Z_NO_FLUSH)) {
      case Z_OK:
        break;
      case Z_STREAM_END:
        startNextMember();
        break;
      case Z_MEM_ERROR:
        throw std::bad_alloc();
      default:
        throw ArchiveFailure(std::string("its gzip data is damaged: ") +
                             (zlib_.msg != nullptr ? printable(zlib_.msg) : "no such dictionary"));
    }
  }

  // Several members may follow each other, and the last one may be padded with zeros.
  void startNextMember() {
    bool isPadded = false;
    for (;;) {
      const Bytes rest(reinterpret_cast<const std::byte*>(zlib_.next_in), zlib_.avail_in);
      const auto zeros = static_cast<std::size_t>(std::distance(
          rest.begin(), std::ranges::find_if(rest, [](std::byte b) { return b != std::byte{0}; })));
      isPadded = isPadded || zeros > 0;
      if (zeros < rest.size()) {
        if (isPadded || rest.front() != std::byte{0x1F}) {
          throw ArchiveFailure("other data follows its gzip data");
        }
        ::inflateReset(&zlib_);
        return;
      }
      refill();
      if (zlib_.avail_in == 0) {
        isAtEnd_ = true;
        return;
      }
    }
  }

  ByteSource& source_;
  std::unique_ptr<ByteSource> owned_;
  std::vector<Bytef> buffer_;
  z_stream zlib_{};
  Bytes input_;
  bool isAtEnd_ = false;
  std::exception_ptr failure_;
};

// Only filters inside libarchive: for some compressions it would run another program.
void supportOwnFilters(struct ::archive* archive) {
  for (const auto support :
       {::archive_read_support_filter_bzip2, ::archive_read_support_filter_compress,
        ::archive_read_support_filter_lz4, ::archive_read_support_filter_lzip,
        ::archive_read_support_filter_lzma, ::archive_read_support_filter_rpm,
        ::archive_read_support_filter_xz, ::archive_read_support_filter_zstd}) {
    if (support(newReadArchive().get()) == ARCHIVE_OK) {
      support(archive);
    }
  }
}

// The compressions that libarchive knows, nested ones too; without any, passes the source through.
class FilteredStream final : public ByteSource {
 public:
  FilteredStream(ByteSource& source, std::unique_ptr<ByteSource> owned)
      : owned_(std::move(owned)), feed_(source), archive_(newReadArchive()) {
    supportOwnFilters(archive_.get());
    ::archive_read_support_format_raw(archive_.get());
    const bool isOpen = feed_.open(archive_.get());
    // The last filter stands for the file itself. Without any, the data of one could not be read.
    isFiltered_ = ::archive_filter_count(archive_.get()) != 1;
    struct ::archive_entry* entry = nullptr;
    isAtEnd_ = !isOpen || ::archive_read_next_header(archive_.get(), &entry) != ARCHIVE_OK;
    feed_.rethrow();
    if (isAtEnd_ && isFiltered_) {
      feed_.rethrowDamage();
      throw ArchiveFailure("its compressed data is empty, damaged or cut short");
    }
  }

  bool isFiltered() const { return isFiltered_; }

 private:
  Bytes produce() override {
    const void* block = nullptr;
    std::size_t size = 0;
    la_int64_t offset = 0;
    while (!isAtEnd_ && size == 0) {
      const int result = ::archive_read_data_block(archive_.get(), &block, &size, &offset);
      feed_.rethrow();
      if (result != ARCHIVE_OK) {
        feed_.rethrowDamage();
      }
      if (result == ARCHIVE_EOF) {
        isAtEnd_ = true;
      } else if (result != ARCHIVE_OK) {
        throw ArchiveFailure(failureReason(archive_.get()));
      }
    }
    return isAtEnd_ ? Bytes() : Bytes(static_cast<const std::byte*>(block), size);
  }

  std::unique_ptr<ByteSource> owned_;
  LibarchiveFeed feed_;
  ReadArchive archive_;
  bool isFiltered_ = false;
  bool isAtEnd_ = false;
};

}  // namespace

std::unique_ptr<ByteSource> decompressed(VolumeStream& volumes) {
  std::unique_ptr<ByteSource> outermost;
  for (int layer = 0; layer < mostLayers; ++layer) {
    ByteSource& source = outermost ? *outermost : volumes;
    if (startsAsGzip(source.peek())) {
      outermost = std::make_unique<GzipStream>(source, std::move(outermost));
      continue;
    }
    auto filtered = std::make_unique<FilteredStream>(source, std::move(outermost));
    const bool isFiltered = filtered->isFiltered();
    if (!isFiltered && layer == 0) {
      volumes.seek(0);
      return nullptr;
    }
    outermost = std::move(filtered);
    if (!isFiltered) {
      break;
    }
  }
  return outermost;
}

}  // namespace oxarchive

// One entry of an archive's listing.

#pragma once

#include <OrvexKit/platform/OXAtomic.h>
#include <OrvexKit/platform/OXCoder.h>
#include <OrvexKit/platform/OXDate.h>
#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXString.h>

#include <bit>
#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

// One entry of an archive's listing: where the item lies inside the archive, its sizes, checksum,
// time and flags. A fresh record has every field zero, false or null. Nothing here touches the
// disk.
//
//   auto file = std::make_shared<OXArchivedFile>();
//   file->setPath("docs/");
//   file->setIsFolder(true);
//   file->path()            => "docs"
//   file->description()     => "[Archived File] : docs"
//
// A record goes to another process by value: it is encoded here and decoded there. Two records are
// equal, and have the same hash, only when they are the same object.
//
// Thread safety: every property but `path` may be got and set from any number of threads at once,
// without a lock, and is always read and written whole, a 64-bit one on 32-bit processors too. The
// properties do not order each other: who sees a new value of one may still see an old value of
// another. While one thread sets the path, no other may read or set it, nor encode or describe the
// record.
class OX_EXPORT OXArchivedFile : public OXObject {
 public:
  // A record with every field zero, false or null.
  OXArchivedFile();
  ~OXArchivedFile() override;

  // The item's path inside the archive, or null. It stays valid until the path is set again or the
  // record goes.
  const OXString& path() const noexcept { return path_; }

  // Exactly one "/" at the end is dropped; null is kept as null. The empty string has no last
  // character to look at: `std::out_of_range` is thrown, and the record stays as it was.
  //
  //   "docs"   => "docs"
  //   "docs/"  => "docs"
  //   "a/b//"  => "a/b/"
  //   "/"      => ""
  //   null     => null
  //   ""       => std::out_of_range
  void setPath(OXStringView path);

  // The same for a string that the caller gives away, which is moved in instead of copied.
  template <typename String>
  requires std::same_as<String, std::string> || std::same_as<String, OXString>
  void setPath(String&& path) { adoptPath(std::forward<String>(path)); }

  // The item's identifier within its archive.
  OXUnsignedWord fileId() const noexcept { return fileId_.get(); }
  void setFileId(OXUnsignedWord fileId) noexcept { fileId_.set(fileId); }

  // The size of the item's data in bytes.
  std::uint64_t actualSize() const noexcept { return actualSize_.get(); }
  void setActualSize(std::uint64_t actualSize) noexcept { actualSize_.set(actualSize); }

  // The size of the item's data in bytes, as stored in the archive.
  std::uint64_t compressedSize() const noexcept { return compressedSize_.get(); }
  void setCompressedSize(std::uint64_t compressedSize) noexcept {
    compressedSize_.set(compressedSize);
  }

  // The checksum that the archive records for the item, of whatever kind the format uses.
  std::uint32_t checksum() const noexcept { return checksum_.get(); }
  void setChecksum(std::uint32_t checksum) noexcept { checksum_.set(checksum); }

  // The item's modification time, or null. A date that is not a number is a date; the bits of its
  // not-a-number are not always kept.
  std::optional<OXDate> modificationTime() const noexcept {
    const std::uint64_t bits = modificationTime_.get();
    return bits == noDate ? std::nullopt
                          : std::optional(OXDate(OXDate::duration(std::bit_cast<double>(bits))));
  }
  void setModificationTime(std::optional<OXDate> modificationTime) noexcept;

  // Whether the entry is a folder.
  bool isFolder() const noexcept { return isFolder_.get(); }
  void setIsFolder(bool isFolder) noexcept { isFolder_.set(isFolder); }

  // Whether the entry's data is encrypted.
  bool isEncrypted() const noexcept { return isEncrypted_.get(); }
  void setIsEncrypted(bool isEncrypted) noexcept { isEncrypted_.set(isEncrypted); }

  // The path behind a fixed text; an absent one as "(null)".
  //
  //   path "docs/a.txt"  => "[Archived File] : docs/a.txt"
  //   path null          => "[Archived File] : (null)"
  OXString description() const override;

  // Writes the record as eight objects, always in this order, and allocates nothing of its own:
  //
  //   key            object
  //   "path"         a string
  //   "mtime"        a date: the modification time
  //   "actualSize"   a number boxed from 64 bits unsigned
  //   "compSize"     a number boxed from 64 bits unsigned: the compressed size
  //   "checksum"     a number boxed from 32 bits unsigned
  //   "fileId"       a number boxed from an unsigned word
  //   "isFolder"     a number boxed from a boolean
  //   "isEncrypted"  a number boxed from a boolean
  //
  // A keyed coder gets each object under its key, and nothing for a null path or time. A sequential
  // coder gets all eight, with the null marker for a null path or time. The coder is asked once, at
  // the start, which of the two it is. Only what the coder throws is thrown.
  virtual void encodeWithCoder(OXCoder& coder) const;

  // Reads a record: asks the coder once for its mode, and then for the eight objects in the order
  // above, every one of them whatever the others are, so that a sequential coder stands at the next
  // record afterwards. What is not there counts as null, as does a sequential coder's null marker:
  // it gives a null path or time, the number 0, or false.
  //
  // A number field takes a number of any kind and converts it as `OXNumber` does; the file
  // identifier is read as a signed word, which keeps all its bits. The path is set as by `setPath`.
  //
  // Null when an object is there but of a kind that its field can't take: under a keyed coder's key
  // that includes the null marker. Else, an encoded path that is empty, which no record writes
  // unless its path was "/", is `setPath`'s `std::out_of_range`. Otherwise only
  // `std::bad_alloc` and what the coder throws are thrown.
  //
  //   keyed, {"path": "docs/", "isFolder": true}  => path "docs", a folder, all else zero or null
  //   keyed, {}                                   => a fresh record
  //   keyed, {"path": the null marker}            => null
  //   keyed, {"actualSize": "7"}                  => null
  //   keyed, {"path": ""}                         => std::out_of_range
  static std::shared_ptr<OXArchivedFile> initWithCoder(OXCoder& coder);

  // The same into this record, which may be of a class derived from this one. Every field is set;
  // what is absent is set to null, 0 or false. False where `initWithCoder` gives null: then, and
  // when something is thrown, the record stays as it was. A derived class with more fields
  // overrides this, and calls it.
  virtual bool decodeWithCoder(OXCoder& coder);

  // What a coder that sends objects to another process sends in this record's place: the record
  // itself, which is then sent by value, as `encodeWithCoder` writes it. Null when the coder asks
  // for by-reference, which has to be the sender's own matter, as there are no remote objects here.
  // The pointer is the record's own address and no new reference to it.
  virtual const OXArchivedFile* replacementObjectForPortCoder(OXPortCoder& coder) const;

 private:
  // A date is kept as the bits of its double. One not-a-number out of many stands for no date.
  static constexpr std::uint64_t noDate = ~std::uint64_t{0};

  void adoptPath(OXString&& path);

  OXString path_;
  ox::AtomicScalar<std::uint64_t> actualSize_{0};
  ox::AtomicScalar<std::uint64_t> compressedSize_{0};
  ox::AtomicScalar<std::uint64_t> modificationTime_{noDate};
  ox::AtomicScalar<OXUnsignedWord> fileId_{0};
  ox::AtomicScalar<std::uint32_t> checksum_{0};
  ox::AtomicScalar<bool> isFolder_{false};
  ox::AtomicScalar<bool> isEncrypted_{false};
};

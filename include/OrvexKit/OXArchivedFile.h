// SPDX-License-Identifier: MIT

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

/// One entry of an archive's listing: its path in the archive, sizes, checksum, time and flags.
/// Sent to another process by value, encoded and decoded. Equality and hash are by identity.
///
/// Thread-safe and lock-free, except for `path`: each property is read and written whole, 64-bit
/// ones on 32-bit processors too, but the properties are not ordered. While one thread sets `path`,
/// no other may read, set, encode or describe it. Nothing touches the disk.
/// \ingroup records
class OX_EXPORT OXArchivedFile : public OXObject {
 public:
  OXArchivedFile();  ///< Every field is zero, false or null.
  ~OXArchivedFile() override;

  /// The item's path inside the archive, or null. Valid until it is set or the record destroyed.
  const OXString& path() const noexcept { return path_; }

  /// Sets the path, without its last character if that is "/". Throws `std::out_of_range` for an
  /// empty path, which has no last character, and leaves the record unchanged.
  ///
  ///     "docs"   => "docs"
  ///     "docs/"  => "docs"
  ///     "a/b//"  => "a/b/"
  ///     "/"      => ""
  ///     null     => null
  ///     ""       => std::out_of_range
  void setPath(OXStringView path);

  /// Sets the path as the overload above does, from a temporary string that is moved, not copied.
  template <typename String>
  requires std::same_as<String, std::string> || std::same_as<String, OXString>
  void setPath(String&& path) { adoptPath(std::forward<String>(path)); }

  /// The item's identifier within its archive.
  OXUnsignedWord fileId() const noexcept { return fileId_.get(); }
  /// Sets the item's identifier.
  void setFileId(OXUnsignedWord fileId) noexcept { fileId_.set(fileId); }

  /// The size of the item's data in bytes.
  std::uint64_t actualSize() const noexcept { return actualSize_.get(); }
  /// Sets the size of the item's data in bytes.
  void setActualSize(std::uint64_t actualSize) noexcept { actualSize_.set(actualSize); }

  /// The size of the item's data in bytes, as stored in the archive.
  std::uint64_t compressedSize() const noexcept { return compressedSize_.get(); }
  /// Sets the stored size in bytes.
  void setCompressedSize(std::uint64_t compressedSize) noexcept {
    compressedSize_.set(compressedSize);
  }

  /// The checksum that the archive has for the item, of whatever kind its format uses.
  std::uint32_t checksum() const noexcept { return checksum_.get(); }
  /// Sets the checksum.
  void setChecksum(std::uint32_t checksum) noexcept { checksum_.set(checksum); }

  /// The item's modification time, or null. Not-a-number counts as a date; its payload may change.
  std::optional<OXDate> modificationTime() const noexcept {
    const std::uint64_t bits = modificationTime_.get();
    return bits == noDate ? std::nullopt
                          : std::optional(OXDate(OXDate::duration(std::bit_cast<double>(bits))));
  }
  /// Sets the modification time.
  void setModificationTime(std::optional<OXDate> modificationTime) noexcept;

  /// Whether the entry is a folder.
  bool isFolder() const noexcept { return isFolder_.get(); }
  /// Sets whether the entry is a folder.
  void setIsFolder(bool isFolder) noexcept { isFolder_.set(isFolder); }

  /// Whether the entry's data is encrypted.
  bool isEncrypted() const noexcept { return isEncrypted_.get(); }
  /// Sets whether the entry's data is encrypted.
  void setIsEncrypted(bool isEncrypted) noexcept { isEncrypted_.set(isEncrypted); }

  /// Returns the path after a fixed text.
  ///
  ///     path "docs/a.txt"  => "[Archived File] : docs/a.txt"
  ///     path null          => "[Archived File] : (null)"
  OXString description() const override;

  /// Writes the record as eight objects, always in this order:
  ///
  ///     key            object
  ///     "path"         a string
  ///     "mtime"        a date: the modification time
  ///     "actualSize"   a number boxed from 64 bits unsigned
  ///     "compSize"     a number boxed from 64 bits unsigned: the compressed size
  ///     "checksum"     a number boxed from 32 bits unsigned
  ///     "fileId"       a number boxed from an unsigned word
  ///     "isFolder"     a number boxed from a boolean
  ///     "isEncrypted"  a number boxed from a boolean
  ///
  /// A null path or time is skipped by a keyed coder, and is the null marker in a sequential one.
  /// Asks for the coder's mode once, first. Allocates nothing; throws only what the coder throws.
  virtual void encodeWithCoder(OXCoder& coder) const;

  /// Reads a record, as `encodeWithCoder` writes it. Asks for the coder's mode once, then for all
  /// eight objects, so that a sequential coder ends at the next record. A missing object, or a
  /// sequential coder's null marker, sets null, 0 or false. A number field takes any kind of
  /// number, converted as `OXNumber` does; `fileId` takes the bits of `signedWordValue()`.
  ///
  /// Returns null if an object has a kind that its field does not take, such as the null marker
  /// under a key. Otherwise throws `std::out_of_range` for an empty path, which a record writes
  /// only if its path was set to "/". Else throws only `std::bad_alloc` and what the coder throws.
  ///
  ///     keyed, {"path": "docs/", "isFolder": true} => path "docs", a folder, all else zero or null
  ///     keyed, {}                                  => a fresh record
  ///     keyed, {"path": the null marker}           => null
  ///     keyed, {"actualSize": "7"}                 => null
  ///     keyed, {"path": ""}                        => std::out_of_range
  static std::shared_ptr<OXArchivedFile> initWithCoder(OXCoder& coder);

  /// Reads all fields into this record, as `initWithCoder` does, for derived classes to extend.
  /// Returns false where that returns null; then, and after an exception, the record is unchanged.
  virtual bool decodeWithCoder(OXCoder& coder);

  /// Returns what a coder to another process sends in place of this record: a non-owning pointer to
  /// the record itself, to be sent by value. Returns null if `coder.isByref()`: the library has no
  /// remote objects, so the sender must decide.
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

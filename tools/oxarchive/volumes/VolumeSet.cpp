#include "volumes/VolumeSet.h"

#include <OrvexKit/OXFileUtil.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <set>
#include <string_view>

#include "console/Failure.h"
#include "console/Printable.h"
#include "system/Descriptor.h"
#include "system/FolderStream.h"
#include "system/RegularFile.h"
#include "volumes/RarVolume.h"

namespace oxarchive {
namespace {

constexpr std::string_view tarMark = "ustar";  // at the end of the first 262 bytes

struct SplitName {
  std::string_view stem;
  std::string_view extension;
};

// Splits at the last "." unless that is the first or last character.
SplitName splitExtension(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) {
    return {name, {}};
  }
  return {name.substr(0, dot), name.substr(dot + 1)};
}

// Digits only, and at most nine: no archive has more volumes.
std::optional<unsigned> readNumber(std::string_view digits) {
  unsigned number = 0;
  const char* const end = digits.data() + digits.size();
  const bool isNumber = std::from_chars(digits.data(), end, number).ptr == end;
  return isNumber && !digits.empty() && digits.size() <= 9 ? std::optional(number) : std::nullopt;
}

std::string writeNumber(unsigned number, std::size_t width) {
  std::string digits = std::to_string(number);
  digits.insert(0, width - std::min(width, digits.size()), '0');
  return digits;
}

bool isUpper(char c) {
  return c >= 'A' && c <= 'Z';
}

bool isAlike(std::string_view text, std::string_view lowerCase) {
  return std::ranges::equal(text, lowerCase, {}, ::g_ascii_tolower);
}

// The numbering of one archive's volumes. Converts between a volume's name and its index, which
// starts at 0.
class Numbering {
 public:
  // The numbering that `name` belongs to; no value if it is not a volume's name.
  static std::optional<Numbering> of(std::string_view name) {
    const auto [stem, extension] = splitExtension(name);
    const std::string_view inner = splitExtension(stem).extension;
    const std::string_view partDigits = inner.substr(std::min<std::size_t>(inner.size(), 4));
    const bool isRar = isAlike(extension, "rar");
    if (isRar && isAlike(inner.substr(0, 4), "part") && readNumber(partDigits)) {
      return Numbering(Kind::part, name, partDigits);
    }
    if (isRar || letteredIndex(extension)) {
      return Numbering(Kind::letter, name, extension);
    }
    if (!inner.empty() && readNumber(extension)) {
      return Numbering(Kind::number, name, extension);
    }
    return std::nullopt;
  }

  bool isRar() const { return kind_ != Kind::number; }

  std::string nameOf(unsigned index) const {
    if (kind_ != Kind::letter) {
      return before_ + writeNumber(first_ + index, width_) + after_;
    }
    const char r = isUpperCase_ ? 'R' : 'r';
    if (index == 0) {
      return before_ + (isUpperCase_ ? "RAR" : "rar");
    }
    return before_ + static_cast<char>(r + static_cast<char>((index - 1) / 100)) +
           writeNumber((index - 1) % 100, 2);
  }

  std::optional<unsigned> indexOf(std::string_view name) const {
    if (!name.starts_with(before_) || !name.ends_with(after_) ||
        name.size() < before_.size() + after_.size()) {
      return std::nullopt;
    }
    name.remove_prefix(before_.size());
    name.remove_suffix(after_.size());
    std::optional<unsigned> index = isAlike(name, "rar") ? 0 : letteredIndex(name);
    if (kind_ != Kind::letter) {
      const std::optional<unsigned> number = readNumber(name);
      index = number && *number >= first_ ? std::optional(*number - first_) : std::nullopt;
    }
    // Another spelling, such as more zeros, is another file.
    const bool isOurs = index && nameOf(*index) == before_ + std::string(name) + after_;
    return isOurs ? index : std::nullopt;
  }

  // The same with one digit less: "x.part10.rar" may belong to the set of "x.part1.rar". No value
  // if the number has leading zeros.
  std::optional<Numbering> narrower() const {
    if (kind_ == Kind::letter || width_ <= 1 || hasZerosBefore_) {
      return std::nullopt;
    }
    Numbering result = *this;
    --result.width_;
    return result;
  }

  // The same starting at 0, like `split -d`.
  std::optional<Numbering> fromZero() const {
    if (kind_ != Kind::number || width_ <= 1) {
      return std::nullopt;
    }
    Numbering result = *this;
    result.first_ = 0;
    return result;
  }

  // Removes names that only look like volumes: ".s00" is one only if ".r99" exists.
  void keepConnected(std::set<unsigned>& indexes) const {
    if (kind_ == Kind::letter) {
      const std::set<unsigned> all = indexes;
      std::erase_if(indexes, [&](unsigned index) {
        const unsigned lastOfLetterBefore = index == 0 ? 0 : (index - 1) / 100 * 100;
        return !all.contains(lastOfLetterBefore);
      });
    }
  }

  // Most sets start at 1, so a file with number 0 may not be a volume.
  bool isNumberedZero() const { return kind_ == Kind::number && isZero_; }

  std::string archiveName() const {
    switch (kind_) {
      case Kind::part:
        return std::string(splitExtension(before_).stem) + after_;
      case Kind::number:
        return before_.substr(0, before_.size() - 1);
      case Kind::letter:
        break;
    }
    return nameOf(0);
  }

 private:
  enum class Kind { part, number, letter };

  // `counted` is the part of `name` that identifies the volume.
  Numbering(Kind kind, std::string_view name, std::string_view counted)
      : kind_(kind),
        before_(name.substr(0, static_cast<std::size_t>(counted.data() - name.data()))),
        after_(name.substr(before_.size() + counted.size())),
        width_(counted.size()),
        hasZerosBefore_(counted.front() == '0'),
        isZero_(readNumber(counted) == 0U),
        isUpperCase_(isUpper(counted.front())) {}

  // 1 for "r00", 101 for "s00".
  static std::optional<unsigned> letteredIndex(std::string_view extension) {
    const std::optional<unsigned> number =
        extension.size() == 3 ? readNumber(extension.substr(1)) : std::nullopt;
    const char letter = number ? ::g_ascii_tolower(extension[0]) : '\0';
    if (letter < 'r' || letter > 'z') {
      return std::nullopt;
    }
    return static_cast<unsigned>(letter - 'r') * 100 + *number + 1;
  }

  Kind kind_;
  std::string before_;
  std::string after_;
  std::size_t width_;
  bool hasZerosBefore_;  // in the given name
  bool isZero_;
  bool isUpperCase_;
  unsigned first_ = 1;
};

std::string join(const std::string& folder, const std::string& name) {
  return folder.empty() ? name : folder.ends_with('/') ? folder + name : folder + "/" + name;
}

bool exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

// The signature of a common archive format at the start of the file; "" if it has none.
std::string_view startOf(const std::string& path) {
  using namespace std::string_view_literals;
  constexpr auto starts = std::to_array<std::string_view>(
      {"PK\3\4"sv, "7z\xBC\xAF\x27\x1C"sv, "\x1F\x8B\x08"sv, "BZh"sv, "\xFD\x37zXZ\0"sv,
       "\x28\xB5\x2F\xFD"sv, "Rar!\x1A\x07"sv});
  struct ::stat status {};
  const Descriptor file = openRegularFile(path, printable(path), status);
  std::array<char, 262> bytes{};
  const ssize_t count = ::pread(file.get(), bytes.data(), bytes.size(), 0);
  const std::string_view text(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  const auto* const start =
      std::ranges::find_if(starts, [&](std::string_view each) { return text.starts_with(each); });
  return start != starts.end() ? *start : text.ends_with(tarMark) ? tarMark : "";
}

// Whether the set starts at 0. A file numbered 0 may be unrelated; then the file numbered 1 has the
// archive's signature. "ustar" in number 1 proves nothing: a tar archive may be split before any
// entry, so a second volume may start with it too.
bool startsAtZero(const Numbering& fromZero, const std::string& folder) {
  const std::string zero = join(folder, fromZero.nameOf(0));
  const std::string one = join(folder, fromZero.nameOf(1));
  return exists(zero) && exists(one) && !startOf(zero).empty() &&
         (startOf(one).empty() || startOf(one) == tarMark);
}

// Sets `numbering` to the width and start of the first volume's number. Returns whether that volume
// exists: the one that the library names, or one of a set that the library does not know.
bool findFirst(Numbering& numbering, const std::string& folder, const std::string& path) {
  const std::string told = OXGetFirstArchiveVolumePath(path).value();
  for (std::optional<Numbering> candidate = numbering; candidate;
       candidate = candidate->narrower()) {
    const std::optional<Numbering> fromZero = candidate->fromZero();
    const bool isFromZero = fromZero && startsAtZero(*fromZero, folder);
    const std::string first = join(folder, candidate->nameOf(0));
    if (isFromZero || first == told || exists(first)) {
      numbering = isFromZero ? *fromZero : *candidate;
      return true;
    }
  }
  return false;
}

// The indexes of the volumes in the folder, whose first volume exists. If the folder cannot be
// listed, they are probed one by one up to the first gap.
std::set<unsigned> presentVolumes(const Numbering& numbering, const std::string& folder) {
  std::set<unsigned> present{0};
  const FolderStream stream = openFolderStream(folder.empty() ? "." : folder.c_str());
  if (!stream) {
    for (unsigned i = 1; exists(join(folder, numbering.nameOf(i))); ++i) {
      present.insert(i);
    }
    return present;
  }
  while (const char* const name = nextName(stream)) {
    if (const std::optional<unsigned> index = numbering.indexOf(name)) {
      present.insert(*index);
    }
  }
  numbering.keepConnected(present);
  return present;
}

[[noreturn]] void failForMissing(const std::string& name, const std::string& what) {
  throw ArchiveFailure(printable(name) + ", " + what + ", is missing");
}

// Chooses the width of the number with which most files belong to the set.
std::string nameOfMissingFirst(Numbering numbering, const std::string& folder) {
  std::size_t most = 0;
  std::string name;
  for (std::optional<Numbering> candidate = numbering; candidate;
       candidate = candidate->narrower()) {
    const std::size_t count = presentVolumes(*candidate, folder).size();
    if (count > most) {
      most = count;
      name = candidate->nameOf(0);
    }
  }
  return name;
}

constexpr const char* notTheFirst =
    "it continues an earlier volume, but its name does not say which";

bool isRarVolume(const std::string& path) {
  const std::optional<RarVolume> volume = inspectRarVolume(path);
  return volume && volume->isVolume;
}

// Rotated copies of a file are numbered too ("etc.tar.gz.1", "etc.tar.gz.2"). Each copy starts with
// the archive's signature; a later volume starts in the middle of an archive.
bool startAlike(const std::string& first, const std::string& other) {
  const std::string_view start = exists(other) ? startOf(first) : "";
  return !start.empty() && start != tarMark && startOf(other) == start;
}

VolumeSet singleFile(const std::string& path, const std::string& folder, const std::string& name) {
  const std::optional<RarVolume> volume = inspectRarVolume(path);
  if (volume && volume->ending == RarVolume::Ending::continued) {
    throw ArchiveFailure("it is one of several volumes, but its name does not say which others");
  }
  if (volume && volume->isContinuation) {
    throw ArchiveFailure(notTheFirst);
  }
  return {{path}, name, folder};
}

// The numbering of the set that the file belongs to; no value for a single file. Throws if the
// first volume is missing.
std::optional<Numbering> numberingOfSet(const std::string& path, const std::string& folder,
                                        const std::string& name) {
  std::optional<Numbering> numbering = Numbering::of(name);
  if (!numbering) {
    return std::nullopt;
  }
  if (!findFirst(*numbering, folder, path)) {
    if (numbering->isNumberedZero() || (numbering->isRar() && !isRarVolume(path))) {
      return std::nullopt;
    }
    failForMissing(nameOfMissingFirst(*numbering, folder), "the first volume of it");
  }
  const std::string first = join(folder, numbering->nameOf(0));
  const std::string other = first == path ? join(folder, numbering->nameOf(1)) : path;
  const bool standsAlone = numbering->isRar() ? !isRarVolume(first) : startAlike(first, other);
  return standsAlone ? std::nullopt : numbering;
}

// All volumes in the folder; the first one exists. Throws if there is a gap.
VolumeSet listVolumes(const Numbering& numbering, const std::string& folder) {
  VolumeSet set{{}, numbering.archiveName(), folder};
  const std::set<unsigned> present = presentVolumes(numbering, folder);
  for (unsigned index = 0; index <= *present.rbegin(); ++index) {
    if (!present.contains(index)) {
      failForMissing(numbering.nameOf(index), "one of the volumes");
    }
    set.paths.push_back(join(folder, numbering.nameOf(index)));
  }
  return set;
}

// Only a RAR volume itself tells whether another one follows. `nameAfterLast` is the name that the
// volume after the last would have.
void checkRarVolumes(const VolumeSet& set, const std::string& nameAfterLast) {
  for (const std::string& path : set.paths) {
    const std::optional<RarVolume> volume = inspectRarVolume(path);
    if (!volume) {
      throw ArchiveFailure(printable(path) + " is not a RAR volume");
    }
    if (volume->isContinuation && path == set.paths.front()) {
      throw ArchiveFailure(notTheFirst);
    }
    const bool isLast = path == set.paths.back();
    if (volume->ending == RarVolume::Ending::continued && isLast) {
      failForMissing(nameAfterLast, "the next volume");
    }
    if (volume->ending == RarVolume::Ending::last && !isLast) {
      throw ArchiveFailure(printable(path) +
                           " says that it is the last volume, but there are more");
    }
  }
}

}  // namespace

VolumeSet findVolumes(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string name = path.substr(slash + 1);
  const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  struct ::stat status {};
  openRegularFile(path, "it", status);
  const std::optional<Numbering> numbering = numberingOfSet(path, folder, name);
  if (!numbering) {
    return singleFile(path, folder, name);
  }
  VolumeSet result = listVolumes(*numbering, folder);
  if (numbering->isRar()) {
    checkRarVolumes(result, numbering->nameOf(static_cast<unsigned>(result.paths.size())));
  }
  return result;
}

}  // namespace oxarchive

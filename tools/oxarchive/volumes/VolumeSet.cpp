#include "volumes/VolumeSet.h"

#include <OrvexKit/OXFileUtil.h>
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

struct SplitName {
  std::string_view stem;
  std::string_view extension;
};

// At the last ".", if it neither starts nor ends the name.
SplitName splitExtension(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) {
    return {name, {}};
  }
  return {name.substr(0, dot), name.substr(dot + 1)};
}

// Digits alone, and not more than any archive has volumes.
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

// One way of numbering the volumes of one archive: the name of each, and the index of each name,
// counted from 0.
class Numbering {
 public:
  // That of which `name` is a volume's name.
  static std::optional<Numbering> of(std::string_view name) {
    const auto [stem, extension] = splitExtension(name);
    const auto [innerStem, inner] = splitExtension(stem);
    if (extension == "rar") {
      if (inner.starts_with("part") && readNumber(inner.substr(4))) {
        return Numbering(Kind::part, innerStem, inner.size() - 4, name);
      }
      return Numbering(Kind::letter, stem, 0, name);
    }
    if (extension.size() == 3 && extension[0] >= 'r' && extension[0] <= 'z' &&
        readNumber(extension.substr(1))) {
      return Numbering(Kind::letter, stem, 0, name);
    }
    if (!inner.empty() && readNumber(extension)) {
      return Numbering(Kind::number, stem, extension.size(), name);
    }
    return std::nullopt;
  }

  bool isRar() const { return kind_ != Kind::number; }

  std::string nameOf(unsigned index) const {
    switch (kind_) {
      case Kind::part:
        return stem_ + ".part" + writeNumber(index + 1, width_) + ".rar";
      case Kind::number:
        return stem_ + "." + writeNumber(index + 1, width_);
      case Kind::letter:
        break;
    }
    if (index == 0) {
      return stem_ + ".rar";
    }
    const unsigned number = index - 1;
    return stem_ + "." + static_cast<char>('r' + number / 100) + writeNumber(number % 100, 2);
  }

  std::optional<unsigned> indexOf(std::string_view name) const {
    const auto [stem, extension] = splitExtension(name);
    std::optional<unsigned> number;
    if (kind_ == Kind::letter) {
      number = extension == "rar" ? 1 : letterNumber(extension);
    } else {
      number = readNumber(kind_ == Kind::part ? partDigits(name) : extension);
    }
    // What is written in another way is another name.
    const bool isOurs = number && *number > 0 && nameOf(*number - 1) == name;
    return isOurs ? std::optional(*number - 1) : std::nullopt;
  }

  // The same with the next shorter first number: "x.part10.rar" may follow "x.part1.rar". Only for
  // a volume whose number has no zeros before it.
  std::optional<Numbering> narrower() const {
    if (kind_ == Kind::letter || width_ <= 1 || given_.front() == '0') {
      return std::nullopt;
    }
    Numbering result = *this;
    --result.width_;
    return result;
  }

  // A volume from whose name the library tells that of the first.
  std::string nameToAskWith() const {
    // ".r99" is the last that belongs to ".rar" by its name.
    return kind_ == Kind::letter ? nameOf(lastOfFirstLetter) : nameOf(lastOfWidth() - 1);
  }

  // Takes out what only looks like a volume: ".s00" is one when ".r99" is there.
  void keepConnected(std::set<unsigned>& indexes) const {
    if (kind_ == Kind::letter) {
      const std::set<unsigned> all = indexes;
      std::erase_if(indexes, [&](unsigned index) {
        const unsigned lastOfLetterBefore = index == 0 ? 0 : (index - 1) / 100 * 100;
        return !all.contains(lastOfLetterBefore);
      });
    }
  }

  // Numbers are counted from 1, so a file that has 0 may be no volume at all.
  bool isNumberedZero() const {
    return kind_ == Kind::number && given_.find_first_not_of('0') == std::string::npos;
  }

  std::string archiveName() const { return kind_ == Kind::number ? stem_ : stem_ + ".rar"; }

 private:
  enum class Kind { part, number, letter };
  static constexpr unsigned lastOfFirstLetter = 100;

  Numbering(Kind kind, std::string_view stem, std::size_t width, std::string_view name)
      : kind_(kind), stem_(stem), width_(width), given_(digitsOf(kind, name)) {}

  static std::string_view partDigits(std::string_view name) {
    const std::string_view inner = splitExtension(splitExtension(name).stem).extension;
    return inner.starts_with("part") ? inner.substr(4) : std::string_view();
  }

  static std::string_view digitsOf(Kind kind, std::string_view name) {
    return kind == Kind::part ? partDigits(name) : splitExtension(name).extension;
  }

  // 2 for "r00", 102 for "s00".
  static std::optional<unsigned> letterNumber(std::string_view extension) {
    if (extension.size() != 3 || extension[0] < 'r' || extension[0] > 'z') {
      return std::nullopt;
    }
    const std::optional<unsigned> number = readNumber(extension.substr(1));
    return number ? std::optional(static_cast<unsigned>(extension[0] - 'r') * 100 + *number + 2)
                  : std::nullopt;
  }

  unsigned lastOfWidth() const {
    unsigned number = 0;
    for (std::size_t i = 0; i < width_; ++i) {
      number = number * 10 + 9;
    }
    return number;
  }

  Kind kind_;
  std::string stem_;
  std::size_t width_;
  std::string given_;  // the digits of the name that it was made from
};

std::string join(const std::string& folder, const std::string& name) {
  return folder.empty() ? name : folder.ends_with('/') ? folder + name : folder + "/" + name;
}

bool exists(const std::string& path) {
  struct ::stat status {};
  return ::stat(path.c_str(), &status) == 0;
}

// Narrows `numbering` to the width of the first volume's number, and says whether that volume is
// there.
bool findFirst(Numbering& numbering, const std::string& folder, const std::string& givenName) {
  for (std::optional<Numbering> candidate = numbering; candidate;
       candidate = candidate->narrower()) {
    const std::string first = join(folder, candidate->nameOf(0));
    for (const std::string& name : {givenName, candidate->nameToAskWith()}) {
      if (OXGetFirstArchiveVolumePath(join(folder, name)) == first && exists(first)) {
        numbering = *candidate;
        return true;
      }
    }
  }
  return false;
}

// The indexes of the volumes in the folder, where the first is known to be; as far as they run
// without a gap when it cannot be listed.
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

// The first volume's number is as wide as makes most of the files a set.
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
    "it continues an earlier volume, and its name does not tell which";

bool isRarVolume(const std::string& path) {
  const std::optional<RarVolume> volume = inspectRarVolume(path);
  return volume && volume->isVolume;
}

// RAR volumes know whether another one follows; the end of a set is visible in no other way.
void checkRarChain(const VolumeSet& set, const std::vector<RarVolume>& volumes,
                   const std::string& nameAfterLast) {
  if (volumes.front().isContinuation) {
    throw ArchiveFailure(notTheFirst);
  }
  for (std::size_t i = 0; i < set.paths.size(); ++i) {
    const bool isLast = i + 1 == set.paths.size();
    if (volumes[i].ending == RarVolume::Ending::continued && isLast) {
      failForMissing(nameAfterLast, "the next volume");
    }
    if (volumes[i].ending == RarVolume::Ending::last && !isLast) {
      throw ArchiveFailure(printable(set.paths[i]) +
                           " says that it is the last volume, but there are more");
    }
  }
}

std::string firstBytes(const std::string& path) {
  struct ::stat status {};
  const Descriptor file = openRegularFile(path, printable(path), status);
  std::array<char, 6> bytes{};
  const ssize_t count = ::pread(file.get(), bytes.data(), bytes.size(), 0);
  return {bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

// Numbers are given to old copies of a file too ("etc.tar.gz.1", "etc.tar.gz.2"). Only a file that
// is an archive of its own starts as an archive does; a later volume starts in the middle of it.
bool startAlike(const std::string& first, const std::string& other) {
  using namespace std::string_view_literals;
  constexpr auto starts = std::to_array<std::string_view>(
      {"PK\3\4"sv, "7z\xBC\xAF\x27\x1C"sv, "\x1F\x8B\x08"sv, "BZh"sv, "\xFD\x37zXZ\0"sv,
       "\x28\xB5\x2F\xFD"sv, "Rar!\x1A\x07"sv});
  if (!exists(other)) {
    return false;
  }
  const std::string a = firstBytes(first);
  const std::string b = firstBytes(other);
  return std::ranges::any_of(
      starts, [&](std::string_view start) { return a.starts_with(start) && b.starts_with(start); });
}

VolumeSet singleFile(const std::string& path, const std::string& folder, const std::string& name) {
  const std::optional<RarVolume> volume = inspectRarVolume(path);
  if (volume && volume->ending == RarVolume::Ending::continued) {
    throw ArchiveFailure("it is one of several volumes, and its name does not tell the others");
  }
  if (volume && volume->isContinuation) {
    throw ArchiveFailure(notTheFirst);
  }
  return {{path}, name, folder};
}

// How the set is numbered that the file is a volume of; no value when the file stands alone. Throws
// when the first volume is missing.
std::optional<Numbering> numberingOfSet(const std::string& path, const std::string& folder,
                                        const std::string& name) {
  std::optional<Numbering> numbering = Numbering::of(name);
  if (!numbering) {
    return std::nullopt;
  }
  if (!findFirst(*numbering, folder, name)) {
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

// All volumes in the folder, the first of which is known to be there. Throws when one is missing
// between them.
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

// `nameAfterLast` would be that of the volume after the last.
void checkRarVolumes(const VolumeSet& set, const std::string& nameAfterLast) {
  std::vector<RarVolume> volumes;
  for (const std::string& path : set.paths) {
    std::optional<RarVolume> volume = inspectRarVolume(path);
    if (!volume) {
      throw ArchiveFailure(printable(path) + " is not a RAR volume");
    }
    volumes.push_back(*std::move(volume));
  }
  checkRarChain(set, volumes, nameAfterLast);
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

// SPDX-License-Identifier: MIT

#include "volumes/VolumeSet.h"

#include <OrvexKit/OXFileUtil.h>
#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <regex>
#include <set>
#include <string_view>
#include <utility>

#include "console/Failure.h"
#include "console/Printable.h"
#include "system/Files.h"
#include "system/PathText.h"
#include "volumes/RarVolume.h"
#include "volumes/VolumeStream.h"

namespace oxarchive {
namespace {

constexpr std::string_view tarMark = "ustar";

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

// 1 for "r00", 101 for "s00".
std::optional<unsigned> letteredIndex(std::string_view extension) {
  const std::optional<unsigned> number =
      extension.size() == 3 ? readNumber(extension.substr(1)) : std::nullopt;
  const char letter = number ? ::g_ascii_tolower(extension[0]) : '\0';
  if (letter < 'r' || letter > 'z') {
    return std::nullopt;
  }
  return static_cast<unsigned>(letter - 'r') * 100 + *number + 1;
}

bool exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

// The numbering of one archive's volumes in a folder. Converts between a volume's name and its
// index, which starts at 0.
class Numbering {
 public:
  // The numbering that the file belongs to; no value if it is not called like a volume.
  static std::optional<Numbering> of(const std::string& path) {
    // The part in the middle tells one volume from another. "." would not match a line feed.
    static const auto forms = std::to_array<std::pair<Kind, std::regex>>(
        {{Kind::part, icase(R"(([\s\S]+\.part)(\d{1,9})(\.rar))")},
         {Kind::letter, icase(R"(([\s\S]+\.)(rar|[r-z]\d\d)())")},
         {Kind::number, icase(R"(([\s\S]+\.[^.]+\.)(\d{1,9})())")}});
    const std::string name(oxarchive::nameOf(path));
    for (const auto& [kind, form] : forms) {
      std::smatch parts;
      if (std::regex_match(name, parts, form)) {
        return Numbering(kind, folderOf(path), parts);
      }
    }
    return std::nullopt;
  }

  const std::string& folder() const { return folder_; }
  bool isRar() const { return kind_ != Kind::number; }

  std::string nameOf(unsigned index) const {
    if (kind_ != Kind::letter) {
      return before_ + writeNumber(convert(index, &Start::index, &Start::number).value(), width_) +
             after_;
    }
    const bool isUpperCase = g_ascii_isupper(given_.front()) != 0;
    if (index == 0) {
      return before_ + (isUpperCase ? "RAR" : "rar");
    }
    const char r = isUpperCase ? 'R' : 'r';
    return before_ + static_cast<char>(r + static_cast<char>((index - 1) / 100)) +
           writeNumber((index - 1) % 100, 2);
  }

  std::string pathOf(unsigned index) const { return folder_ + nameOf(index); }

  std::optional<unsigned> indexOf(std::string_view name) const {
    if (!name.starts_with(before_) || name.size() < before_.size() + after_.size()) {
      return std::nullopt;
    }
    const std::string_view counted =
        name.substr(before_.size(), name.size() - before_.size() - after_.size());
    const std::optional<unsigned> number =
        kind_ == Kind::letter ? letteredIndex(counted).value_or(0) : readNumber(counted);
    const std::optional<unsigned> index =
        number ? convert(*number, &Start::number, &Start::index) : std::nullopt;
    // Another spelling, such as more zeros, is another file.
    return index && nameOf(*index) == name ? index : std::nullopt;
  }

  // This, and the same with fewer digits: "x.part10.rar" may belong to the set of "x.part1.rar",
  // but "x.part010.rar" may not.
  std::vector<Numbering> ofAllWidths() const {
    std::vector<Numbering> result{*this};
    while (kind_ != Kind::letter && result.back().width_ > 1 && given_.front() != '0') {
      result.push_back(result.back());
      --result.back().width_;
    }
    return result;
  }

  // The same starting at 0, like `split -d`.
  std::optional<Numbering> fromZero() const {
    if (kind_ != Kind::number || width_ <= 1) {
      return std::nullopt;
    }
    Numbering result = *this;
    result.starts_ = {{0, 0}};
    // After 89, `split -d` goes on with two digits more, so that the names stay sorted.
    if (width_ == 2 && exists(folder_ + before_ + "9000")) {
      result.starts_ = {{0, 0}, {90, 9000}, {990, 990'000}, {9990, 99'900'000}};
    }
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
  bool isNumberedZero() const { return kind_ == Kind::number && readNumber(given_) == 0U; }

  std::string archiveName() const {
    if (kind_ == Kind::letter) {
      return nameOf(0);
    }
    const std::string_view mark = kind_ == Kind::part ? ".part" : ".";
    return before_.substr(0, before_.size() - mark.size()) + after_;
  }

 private:
  enum class Kind { part, number, letter };

  // From the volume with this index on, the numbers count from this one.
  struct Start {
    unsigned index;
    unsigned number;
  };

  static std::regex icase(const char* form) { return std::regex(form, std::regex::icase); }

  // Converts an index to a number, or back.
  std::optional<unsigned> convert(unsigned value, unsigned Start::*from,
                                  unsigned Start::*to) const {
    const auto after = std::ranges::upper_bound(starts_, value, {}, from);
    return after == starts_.begin() ? std::nullopt
                                    : std::optional(value - after[-1].*from + after[-1].*to);
  }

  Numbering(Kind kind, std::string folder, const std::smatch& parts)
      : kind_(kind),
        folder_(std::move(folder)),
        before_(parts[1]),
        given_(parts[2]),
        after_(parts[3]),
        width_(given_.size()),
        starts_{{0, kind == Kind::letter ? 0U : 1U}} {}

  Kind kind_;
  std::string folder_;
  std::string before_;
  std::string given_;  // the number or extension of the file that was given
  std::string after_;
  std::size_t width_;
  std::vector<Start> starts_;
};

// The signature of the archive that starts with this file; "" if none does.
std::string_view markOf(const std::string& path) {
  using namespace std::string_view_literals;
  constexpr auto starts = std::to_array<std::string_view>(
      {"PK\3\4"sv, "7z\xBC\xAF\x27\x1C"sv, "Rar!\x1A\x07"sv, "07070"sv, "\xC7\x71"sv, "\x71\xC7"sv,
       "!<arch>\n"sv, "MSCF"sv, "xar!"sv, "\x1F\x8B\x08"sv, "\x1F\x9D\x90"sv, "BZh"sv,
       "\xFD\x37zXZ\0"sv, "\x5D\0\0"sv, "LZIP"sv, "\x28\xB5\x2F\xFD"sv, "\x04\x22\x4D\x18"sv,
       "\xED\xAB\xEE\xDB"sv});
  VolumeStream file({path});
  const auto has = [&](std::string_view mark, std::uint64_t offset) {
    return file.read(offset, mark.size()) == mark;
  };
  const auto* const start =
      std::ranges::find_if(starts, [&](std::string_view each) { return has(each, 0); });
  if (start != starts.end()) {
    return *start;
  }
  return has(tarMark, 257) ? tarMark : has("CD001", 32769) ? "CD001" : has("-lh", 2) ? "-lh" : "";
}

// Whether the set starts at 0. A file numbered 0 may be unrelated; then the file numbered 1 has the
// archive's signature. "ustar" in number 1 proves nothing: a tar archive may be split before any
// entry, so a second volume may start with it too.
bool startsAtZero(const Numbering& fromZero) {
  const std::string zero = fromZero.pathOf(0);
  const std::string one = fromZero.pathOf(1);
  return exists(zero) && exists(one) && !markOf(zero).empty() &&
         (markOf(one).empty() || markOf(one) == tarMark);
}

// Sets `numbering` to the width and start of the first volume's number. Returns whether that volume
// exists: the one that the library names, or one of a set that the library does not know.
bool findFirst(Numbering& numbering, const std::string& path) {
  const std::string told = OXGetFirstArchiveVolumePath(path).value();
  for (const Numbering& candidate : numbering.ofAllWidths()) {
    const std::optional<Numbering> fromZero = candidate.fromZero();
    const bool isFromZero = fromZero && startsAtZero(*fromZero);
    const std::string first = candidate.pathOf(0);
    if (isFromZero || first == told || exists(first)) {
      numbering = isFromZero ? *fromZero : candidate;
      return true;
    }
  }
  return false;
}

// The indexes of the volumes in the folder, whose first volume exists. If the folder cannot be
// listed, they are probed one by one up to the first gap.
std::set<unsigned> presentVolumes(const Numbering& numbering) {
  std::set<unsigned> present{0};
  const std::string& folder = numbering.folder();
  const FolderStream stream = listFolder(AT_FDCWD, folder.empty() ? "." : folder);
  if (!stream) {
    for (unsigned i = 1; exists(numbering.pathOf(i)); ++i) {
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
std::string nameOfMissingFirst(const Numbering& numbering) {
  const std::vector<Numbering> candidates = numbering.ofAllWidths();
  const auto countVolumes = [](const Numbering& each) { return presentVolumes(each).size(); };
  return std::ranges::max_element(candidates, {}, countVolumes)->nameOf(0);
}

constexpr const char* notTheFirst =
    "it continues an earlier volume, but its name does not say which";

bool isRarVolume(const std::string& path) {
  const std::optional<RarVolume> volume = inspectRarVolume({path});
  return volume && volume->isVolume;
}

// Rotated copies of a file are numbered too ("etc.tar.gz.1", "etc.tar.gz.2"). Each copy starts with
// the archive's signature; a later volume starts in the middle of an archive.
bool startAlike(const std::string& first, const std::string& other) {
  const std::string_view mark = exists(other) ? markOf(first) : "";
  return !mark.empty() && mark != tarMark && markOf(other) == mark;
}

VolumeSet singleFile(const std::string& path) {
  const std::optional<RarVolume> volume = inspectRarVolume({path});
  if (volume && volume->ending == RarVolume::Ending::continued) {
    throw ArchiveFailure("it is one of several volumes, but its name does not say which others");
  }
  if (volume && volume->isContinuation) {
    throw ArchiveFailure(notTheFirst);
  }
  return {{path}, std::string(nameOf(path)), folderOf(path)};
}

// The numbering of the set that the file belongs to; no value for a single file. Throws if the
// first volume is missing.
std::optional<Numbering> numberingOfSet(const std::string& path) {
  std::optional<Numbering> numbering = Numbering::of(path);
  if (!numbering) {
    return std::nullopt;
  }
  if (!findFirst(*numbering, path)) {
    if (numbering->isNumberedZero() || (numbering->isRar() && !isRarVolume(path))) {
      return std::nullopt;
    }
    failForMissing(nameOfMissingFirst(*numbering), "the first volume of it");
  }
  const std::string first = numbering->pathOf(0);
  const std::string other = first == path ? numbering->pathOf(1) : path;
  const bool standsAlone = numbering->isRar() ? !isRarVolume(first) : startAlike(first, other);
  return standsAlone ? std::nullopt : numbering;
}

// All volumes in the folder; the first one exists. Throws if there is a gap.
VolumeSet listVolumes(const Numbering& numbering) {
  VolumeSet set{{}, numbering.archiveName(), numbering.folder()};
  const std::set<unsigned> present = presentVolumes(numbering);
  for (unsigned index = 0; index <= *present.rbegin(); ++index) {
    if (!present.contains(index)) {
      failForMissing(numbering.nameOf(index), "one of the volumes");
    }
    set.paths.push_back(numbering.pathOf(index));
  }
  return set;
}

// Only a RAR volume itself tells whether another one follows. `nameAfterLast` is the name that the
// volume after the last would have.
void checkRarVolumes(const VolumeSet& set, const std::string& nameAfterLast) {
  for (const std::string& path : set.paths) {
    const std::optional<RarVolume> volume = inspectRarVolume({path});
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
  openRegularFile(path, "it");
  const std::optional<Numbering> numbering = numberingOfSet(path);
  if (!numbering) {
    return singleFile(path);
  }
  VolumeSet result = listVolumes(*numbering);
  if (isRarVolume(result.paths.front())) {
    checkRarVolumes(result, numbering->nameOf(static_cast<unsigned>(result.paths.size())));
  }
  return result;
}

}  // namespace oxarchive

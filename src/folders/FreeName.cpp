#include "folders/FreeName.h"

#include <array>
#include <charconv>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/DirectoryReader.h"
#include "platform/files/Files.h"
#include "platform/files/Folder.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

namespace ox {
namespace {

// A few names are cheaper to ask for one by one; where more are taken, a listing of the folder
// tells about all of them at once.
constexpr int probesBeforeListing = 16;

// "-2147483648"
constexpr std::size_t longestCounter = 11;

}  // namespace

FreeName::FreeName(std::string_view name, std::string_view directory, bool isFolder)
    : name_(name),
      directory_(directory),
      label_(isFolder ? name : deletingArchiveExtension(name)),
      extension_(isFolder ? ArchiveExtension{} : archiveExtension(name)) {
  if (label_.empty()) {
    label_ = "Archive";
  }
  constexpr std::size_t separators = sizeof "/ ().";
  path_.reserve(directory.size() + label_.size() + longestCounter + extension_.length() +
                separators);
}

const std::string& FreeName::next() {
  if (path_.empty()) {
    path_ = directory_;
    path::appendComponent(path_, name_);
    if (!files::isNameTaken(PathBuffer(path_))) {
      return path_;
    }
  }
  if (counter_ == 0) {
    startCounting();
  }
  for (;;) {
    counter_ = nextCounter(counter_);
    if (isListedAsTaken()) {
      continue;
    }
    writeCounter();
    ++probes_;
    if (!files::isNameTaken(PathBuffer(path_))) {
      return path_;
    }
  }
}

void FreeName::startCounting() {
  path_ = directory_;
  path::endWithSeparator(path_);
  nameStart_ = path_.size();
  path_ += directory_.empty() ? label_ : path::withoutLeadingSlashes(label_);
  path_ += " (";
  numberStart_ = path_.size();
}

void FreeName::writeCounter() {
  std::array<char, longestCounter> digits;
  const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), counter_).ptr;
  path_.resize(numberStart_);
  path_.append(std::string_view(digits.data(), end));
  path_ += ')';
  if (extension_.length() > 0) {
    path_ += '.';
    extension_.appendTo(path_);
  }
}

bool FreeName::isListedAsTaken() {
  if (mayList_ && probes_ >= probesBeforeListing && !(listing_ && listing_->covers(counter_))) {
    listFolder();
  }
  return listing_ && listing_->covers(counter_) && listing_->taken[listing_->place(counter_)];
}

// What a listing does not show is asked for all the same: a folder that ignores case has names
// taken that are written otherwise.
void FreeName::listFolder() {
  listing_.emplace(counter_);
  const PathBuffer path(directory_.empty() ? "." : directory_);
  Folder folder;
  mayList_ = path.isRepresentable() &&
             Folder::open(path.c_str(), Folder::Access::list, Folder::Links::follow, folder) == 0;
  if (!mayList_) {
    return;
  }
  DirectoryReader<8192> reader(folder);
  while (const std::optional<DirectoryEntry> entry = reader.next()) {
    addIfNumbered(entry->name);
  }
}

void FreeName::addIfNumbered(std::string_view entryName) {
  const std::string_view candidate(path_);
  const std::string_view beforeNumber = candidate.substr(nameStart_, numberStart_ - nameStart_);
  const std::string_view afterNumber = candidate.substr(candidate.find(')', numberStart_));
  if (!entryName.starts_with(beforeNumber) || !entryName.ends_with(afterNumber) ||
      entryName.size() <= beforeNumber.size() + afterNumber.size()) {
    return;
  }
  entryName.remove_prefix(beforeNumber.size());
  entryName.remove_suffix(afterNumber.size());
  std::int32_t counter = 0;
  const auto [end, error] =
      std::from_chars(entryName.data(), entryName.data() + entryName.size(), counter);
  // Only a number as it would be written here: "007" is another name than "7".
  const bool startsWithZero = entryName.front() == '0' || entryName.starts_with("-0");
  if (error == std::errc() && end == entryName.data() + entryName.size() && !startsWithZero &&
      listing_->covers(counter)) {
    listing_->taken.set(listing_->place(counter));
  }
}

}  // namespace ox

OXString OXSequentiallyUniqueName(OXStringView name, OXStringView directory, bool isFolder) {
  if (!name || !directory) {
    return std::nullopt;
  }
  return ox::orBadAlloc([&] {
    ox::FreeName freeName(*name, *directory, isFolder);
    freeName.next();
    return OXString(freeName.take());
  });
}

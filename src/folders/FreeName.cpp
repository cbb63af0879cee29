// SPDX-License-Identifier: MIT

#include "folders/FreeName.h"

#include <charconv>

#include "OrvexKit/OXFileUtil.h"
#include "platform/files/DirectoryReader.h"
#include "platform/files/Files.h"
#include "platform/files/Folder.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

namespace ox {
namespace {

// Up to this counter, checking names one by one is faster than listing the folder.
constexpr std::int32_t probesBeforeListing = 16;

}  // namespace

FreeName::FreeName(std::string_view name, std::string_view directory, bool isFolder)
    : name_(name), directory_(directory), label_(name) {
  if (!isFolder) {
    label_ = OXFileUtilAdditions::stringByDeletingArchiveExtension(name).value_or("");
    const std::string extension = OXFileUtilAdditions::archiveExtension(name).value_or("");
    afterNumber_ += extension.empty() ? "" : '.' + extension;
  }
  if (label_.empty()) {
    label_ = "Archive";
  }
  constexpr std::size_t longestNumber = sizeof "/ (-2147483648";
  path_.reserve(directory.size() + label_.size() + longestNumber + afterNumber_.size());
}

const std::string& FreeName::next() {
  while (!writeNext() || files::isNameTaken(PathBuffer(path_))) {
  }
  return path_;
}

// Writes the next candidate to `path_`, or returns false if the listing has it.
bool FreeName::writeNext() {
  if (path_.empty()) {
    path_ = directory_;
    path::appendComponent(path_, name_);
    return true;
  }
  if (counter_ == 0) {
    path_ = directory_;
    path::endWithSeparator(path_);
    nameStart_ = path_.size();
    path_ += directory_.empty() ? std::string_view(label_) : path::withoutLeadingSlashes(label_);
    path_ += " (";
    numberStart_ = path_.size();
  }
  counter_ = nextCounter(counter_);
  if (counter_ > probesBeforeListing && !taken_) {
    listFolder();
  }
  const auto number = static_cast<std::uint32_t>(counter_);
  if (taken_ && number < taken_->size() && taken_->test(number)) {
    return false;
  }
  writeCounter(counter_);
  return true;
}

void FreeName::writeCounter(std::int32_t counter) {
  path_.resize(numberStart_);
  path_ += std::to_string(counter);  // fits the small-string buffer
  path_ += afterNumber_;
}

// Records which counters are taken. Names that are not listed are still checked, because a
// case-insensitive folder may have them in another spelling.
void FreeName::listFolder() {
  taken_.emplace();
  const PathBuffer path(directory_.empty() ? "." : directory_);
  const Folder folder = Folder::open(path.c_str(), Folder::Access::list, Folder::Links::follow);
  const std::string_view beforeNumber =
      std::string_view(path_).substr(nameStart_, numberStart_ - nameStart_);
  DirectoryReader<8192> reader(folder);
  while (const std::optional<DirectoryEntry> entry = reader.next()) {
    const std::string_view name(entry->name);
    std::uint16_t counter = 0;
    if (name.starts_with(beforeNumber)) {
      std::from_chars(name.data() + beforeNumber.size(), name.data() + name.size(), counter);
      // Only a number in the form that is written here: "007" is not "7".
      writeCounter(counter);
      if (name == std::string_view(path_).substr(nameStart_)) {
        taken_->set(counter);
      }
    }
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

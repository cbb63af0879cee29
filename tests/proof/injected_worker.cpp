// SPDX-License-Identifier: MIT

// Makes and removes folders, walks, digests and moves items to the Trash, once each, and then
// prints the results. Before each operation it queries a missing item, "/orvexkit-operation/" and
// the operation's name, which separates the operations in a trace. It links the library's objects,
// because the result of removing a folder is not public.
//
//   injected_worker WORK
//
// The items to work on are in the folder WORK. Prints a line for each operation: its name, a tab
// and its result, which is "null" for no value and "no memory" if an allocation failed.

#include <OrvexKit/OXFileUtil.h>
#include <OrvexKit/OXScopedTempDir.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iostream>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/files/RemoveItem.h"

namespace {

void mark(std::string_view operation) {
  static_cast<void>(::access(std::string("/orvexkit-operation/").append(operation).c_str(), F_OK));
}

std::string text(const OXString& answer) {
  return answer.value_or("null");
}

std::string text(bool answer) {
  return answer ? "true" : "false";
}

// The folder must be gone when the call returns.
std::string scopedFolder() {
  const OXScopedTempDir scratch;
  mark("between");
  if (scratch.path()) {
    std::ofstream(*scratch.path() + "/file") << "contents";
  }
  mark("scoped folder's end");
  return text(scratch.path());
}

using Operation = std::pair<std::string_view, std::function<std::string(const std::string&)>>;

const std::vector<Operation>& operations() {
  static const std::vector<Operation> operations = {
      {"scratch folder", [](const auto&) { return text(OXCreateTemporaryDirectory()); }},
      {"unique folder", [](const auto&) { return text(OXCreateUniqueTempDir()); }},
      {"extraction folder",
       [](const auto& work) {
         return text(OXSafelyCreateArchiveSubdir("photos.app.zip", work + "/destination", true));
       }},
      {"removal",
       [](const auto& work) {
         return text(ox::files::removeItem(ox::PathBuffer(work + "/removed")));
       }},
      {"scoped folder", [](const auto&) { return scopedFolder(); }},
      {"folder size",
       [](const auto& work) { return std::to_string(OXGetTotalFolderSize(work + "/tree")); }},
      {"file size",
       [](const auto& work) { return std::to_string(OXGetFileSize(work + "/digested")); }},
      {"digest",
       [](const auto& work) { return text(OXGenerateMD5DigestForFile(work + "/digested")); }},
      {"trashed file",
       [](const auto& work) { return text(OXMoveFileToTrashSync(work + "/file 1%")); }},
      {"trashed folder",
       [](const auto& work) { return text(OXMoveFileToTrashSync(work + "/folder")); }},
  };
  return operations;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    return 2;
  }
  const std::string work = arguments[1];
  std::vector<std::pair<std::string_view, std::string>> answers;
  answers.reserve(operations().size());
  for (const auto& [name, perform] : operations()) {
    mark(name);
    try {
      answers.emplace_back(name, perform(work));
    } catch (const std::bad_alloc&) {
      answers.emplace_back(name, "no memory");
    }
  }
  mark("end");
  for (const auto& [name, answer] : answers) {
    std::cout << name << '\t' << answer << '\n';
  }
  return std::cout.flush() ? 0 : 1;
}

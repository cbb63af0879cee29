// SPDX-License-Identifier: MIT

#include "commands/Commands.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "console/Failure.h"
#include "console/Password.h"
#include "console/Printable.h"
#include "system/Files.h"
#include "system/Interruption.h"
#include "system/PathText.h"
#include "writing/ArchiveWriter.h"
#include "writing/DeltaTree.h"
#include "writing/Formats.h"
#include "writing/NewFile.h"

namespace oxarchive {
namespace {

// Reports obstacles and omitted items. Throws ArchiveFailure if no archive can be made.
void tellProblems(const DeltaTree& tree, Console& console) {
  for (const std::string& message : tree.leftOut) {
    console.message(message);
  }
  for (const std::string& message : tree.unreadable) {
    console.message(message);
  }
  if (!tree.unreadable.empty()) {
    throw ArchiveFailure("no archive is made, because not everything can be read");
  }
  if (tree.entries == 0) {
    throw ArchiveFailure("no archive is made, because nothing is left to pack");
  }
}

// Returns whether all of the tree was packed.
bool pack(const std::string& archive, const DeltaTree& tree, const Format& format,
          const OXArchiveSettings& settings, Console& console) {
  const std::string name(nameOf(archive));
  const std::string label = printable(archive);
  NewFile file(folderOf(archive));
  std::uint64_t done = 0;
  ArchiveWriter writer(format, settings, file.descriptor(), [&](std::uint64_t count) {
    throwIfInterrupted();
    done += count;
    console.showProgress(label, done, tree.bytes);
  });
  tree.root->traversePathsUsingBlock(
      [&](std::string_view path, std::string_view disk, bool isFolder) {
        writer.add(std::string(path), std::string(disk), isFolder);
      });
  const ArchiveWriter::Result result = writer.finish();
  throwIfInterrupted();
  const std::string path = file.publish(name);
  console.clearProgress();
  for (const std::string& warning : result.warnings) {
    console.message(warning);
  }
  console.result(printable(path) + ": " + entriesText(tree.entries, result.size) + ", MD5 " +
                 result.digest + (tree.leftOut.empty() ? "" : " (incomplete)"));
  return tree.leftOut.empty();
}

}  // namespace

bool createArchive(const Options& options, Console& console) {
  catchInterruptions(true);
  const std::string& archive = options.operands.front();
  const std::vector<std::string> items(options.operands.begin() + 1, options.operands.end());
  if (nameOf(archive).empty()) {
    throw UsageError(printable(archive) + " is the name of a folder, not of a new archive");
  }
  const Format& format = formatFor(archive);
  const bool isEncrypted = options.password.kind != PasswordSource::Kind::none;
  const std::shared_ptr<OXArchiveSettings> settings =
      settingsFor(format, options.level, options.method, isEncrypted);
  settings->setPassword(readPassword(options.password, true));
  try {
    const DeltaTree tree = treeOfItems(items);
    tellProblems(tree, console);
    if (format.isKeptBack()) {
      checkTemporaryFolder();
    }
    return pack(archive, tree, format, *settings, console);
  } catch (const ArchiveFailure& failure) {
    console.message(printable(archive) + ": " + failure.what());
    return false;
  }
}

}  // namespace oxarchive

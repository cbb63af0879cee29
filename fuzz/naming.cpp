// SPDX-License-Identifier: MIT

// Arbitrary bytes as the name of an archive or a volume. The disk is not accessed: the target tries
// both answers to every existence test.

#include <OrvexKit/OXFileUtil.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "Require.h"
#include "support/ObservedSystem.h"
#include "support/PlainNaming.h"

namespace {

using namespace OXFileUtilAdditions;
using ox::fuzz::require;
namespace plain = ox::test::plain;

void requireFirstVolume(std::string_view path) {
  const std::string copy(path);
  const std::string candidate = plain::firstVolume(copy).path;
  const bool isLookedFor =
      candidate != copy && candidate.size() < PATH_MAX && candidate.find('\0') == std::string::npos;
  for (const bool exists : {false, true}) {
    ox::test::ObservedSystem system;
    std::vector<std::string> asked;
    system.answerExistence([&asked, exists](std::string_view name) {
      asked.emplace_back(name);
      return exists;
    });
    require(OXGetFirstArchiveVolumePath(path) == (isLookedFor && exists ? candidate : copy),
            "the first volume");
    require(asked == (isLookedFor ? std::vector{candidate} : std::vector<std::string>()),
            "what is looked for");
    require(system.count() == static_cast<int>(asked.size()), "nothing else is");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view path = ox::fuzz::asText(data, size);
  const std::string copy(path);
  require(archiveExtension(path) == plain::archiveExtension(copy).extension, "the extension");
  require(stringByDeletingArchiveExtension(path) == plain::deletingArchiveExtension(copy),
          "the base");
  requireFirstVolume(path);
  require(_OXFirstArchiveVolumeExtension(size + 1) == plain::firstNumber(size + 1), "the number");
  return 0;
}

// SPDX-License-Identifier: MIT

// Arbitrary bytes as a path and, after the last line feed, an ancestor; without a line feed it is
// null.

#include <OrvexKit/OXFileUtil.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>

#include "Require.h"
#include "support/PlainNaming.h"

namespace {

using ox::fuzz::require;
using ox::test::plain::removingAncestor;
using OXFileUtilAdditions::canonicalPath;

void requireBelow(std::string_view path, std::string_view ancestor) {
  require(OXPathByRemovingAncestorPath(path, ancestor) ==
              removingAncestor(std::string(path), std::string(ancestor)),
          "what is below the ancestor");
}

// Paths of slashes and dots only: the parent of the root is the root, and no item "..." exists
// there.
void requireCanonicalSteps(std::string_view bytes) {
  std::string path("/");
  std::size_t dots = 0;
  std::size_t mostDots = 0;
  for (const char c : bytes) {
    path += c % 3 == 0 ? '/' : '.';
    dots = path.back() == '/' ? 0 : dots + 1;
    mostDots = std::max(mostDots, dots);
  }
  const bool isRoot = mostDots <= 2 && path.size() < PATH_MAX;
  require(canonicalPath(path) == (isRoot ? "/" : path), "steps at the root");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input = ox::fuzz::asText(data, size);
  const std::size_t line = input.rfind('\n');
  const std::string_view path = input.substr(0, line);
  if (line == std::string_view::npos) {
    require(OXPathByRemovingAncestorPath(path, std::nullopt) == path, "below null");
  } else {
    requireBelow(path, input.substr(line + 1));
  }
  // Ancestors are prefixes, so tries those of up to 64 bytes.
  for (std::size_t length = 0; length <= std::min<std::size_t>(path.size(), 64); ++length) {
    requireBelow(path, path.substr(0, length));
  }
  requireCanonicalSteps(path);
  // Nothing exists below an item that is not a folder.
  const std::string missing = "/dev/null/" + std::string(path);
  require(canonicalPath(missing) == missing, "a missing item");
  return 0;
}

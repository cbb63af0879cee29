// SPDX-License-Identifier: MIT

// A second implementation of the rules on names, based on the plain path operations, to compare the
// library with. It follows the wording of the rules, copies every result, and shares no code with
// the library.

#pragma once

#include <cstddef>
#include <string>

namespace ox::test::plain {

// Each result names the branch of the rule that produced it, so that tests can check that every
// branch is compared.

struct ArchiveExtension {
  enum Branch { noExtension, noInnerExtension, otherInnerExtension, afterTar, branchCount };
  Branch branch;
  std::string extension;
};

ArchiveExtension archiveExtension(const std::string& path);
std::string deletingArchiveExtension(const std::string& path);

struct FirstVolume {
  enum Branch {
    noExtension,
    rarWithoutPart,
    rarWithBarePart,
    rarWithPart,
    digitsWithoutInner,
    digitsWithInner,
    rAndDigits,
    otherCharacterAndDigits,
    noScheme,
    branchCount
  };
  Branch branch;
  std::string path;
};

// The path where the first volume is expected, or the volume's own path.
FirstVolume firstVolume(const std::string& path);

// The number of the first volume; `width` is at least 1.
std::string firstNumber(std::size_t width);

// The part of `path` below `ancestor`, component by component. A component between two slashes may
// be empty.
std::string removingAncestor(const std::string& path, const std::string& ancestor);

}  // namespace ox::test::plain

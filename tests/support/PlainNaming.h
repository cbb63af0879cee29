// A second statement of the rules on names, over the plain path operations, for the tests to hold
// the library's own against. It goes the way that the rules are told in, copies whatever it gives,
// and shares no code with the library.

#pragma once

#include <cstddef>
#include <string>

namespace ox::test::plain {

// An answer comes with the branch of the rule that it was found in: a comparison that never gets
// to one says nothing about it.

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

// The path at which a volume's first one is looked for, or the volume's own.
FirstVolume firstVolume(const std::string& path);

// The number of a first volume; `width` is at least 1.
std::string firstNumber(std::size_t width);

// The part of `path` below `ancestor`, component by component: between two slashes there is always
// one, be it empty.
std::string removingAncestor(const std::string& path, const std::string& ancestor);

}  // namespace ox::test::plain

// Strings as the library takes and gives them.
//
// A string is a run of bytes, by convention UTF-8, or no string at all (null). Lengths and
// positions count bytes. Nothing is ever normalised, and bytes that are not UTF-8 pass through
// untouched, because names on Linux are bytes.
//
//   OXString name = OXFileUtilAdditions::archiveExtension("photos.tar.gz");  // "tar.gz"
//   OXString none = OXFileUtilAdditions::archiveExtension(std::nullopt);     // null
//
// Where nothing else is said, a function that is given null gives null, false or 0.

#pragma once

#include <optional>
#include <string>
#include <string_view>

// A string, or null. As a result it belongs to the caller.
using OXString = std::optional<std::string>;

// A string argument, or null (`std::nullopt`): a literal, a `std::string`, a `std::string_view`
// and an `OXString` all convert to it without a copy. It need not end in NUL, and is read only
// until the call returns. It must not be made from a null `const char*`.
using OXStringView = std::optional<std::string_view>;

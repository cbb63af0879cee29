// SPDX-License-Identifier: MIT

// Objects of a host compiled without run-time type information.

#pragma once

#include <memory>
#include <string>

#include "OrvexKit/OXFormatInfo.h"

namespace ox::test {

// Descriptors "Zip" with the identifier 1: of a class that overrides nothing, of one with another
// root first, and of one that inherits the descriptor privately.
std::shared_ptr<OXFormatInfo> untypedFormat();
std::shared_ptr<OXFormatInfo> untypedFormatWithTwoRoots();
std::shared_ptr<OXFormatInfo> untypedPrivateFormat();

// The other root of the result of `untypedFormatWithTwoRoots`.
const OXObject* otherRootOf(const OXFormatInfo& format);

// An object that is not a descriptor.
std::shared_ptr<OXObject> untypedObject();

// Uses everything that the headers offer a host to derive, call and own. Returns "" or what is
// wrong.
std::string faultOfTheHeaders();

}  // namespace ox::test

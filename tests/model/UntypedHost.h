// Objects of a host that is compiled without run-time type information.

#pragma once

#include <memory>
#include <string>

#include "OrvexKit/OXFormatInfo.h"

namespace ox::test {

// Descriptors "Zip" with the identifier 1: of a class that overrides nothing, of one with another
// root before it, and of one that hides the descriptor.
std::shared_ptr<OXFormatInfo> untypedFormat();
std::shared_ptr<OXFormatInfo> untypedFormatWithTwoRoots();
std::shared_ptr<OXFormatInfo> untypedPrivateFormat();

// The other root of what `untypedFormatWithTwoRoots` gives.
const OXObject* otherRootOf(const OXFormatInfo& format);

// An object that is no descriptor.
std::shared_ptr<OXObject> untypedObject();

// Calls what the headers have for a host to derive, call and hold; "" when all is as it should be.
std::string faultOfTheHeaders();

}  // namespace ox::test

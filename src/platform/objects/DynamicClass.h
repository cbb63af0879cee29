// Questions to the classes that objects have at run time.

#pragma once

#include "OrvexKit/platform/OXObject.h"

namespace ox {

// Whether `object` is an instance of the very class that `model` has at run time, or of one derived
// from it publicly. False when either's class says nothing about itself at run time, because the
// host was compiled without that.
bool isInstanceOfClassOf(const OXObject& object, const OXObject& model) noexcept;

}  // namespace ox

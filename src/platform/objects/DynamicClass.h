// Questions to the classes that objects have at run time.

#pragma once

#include "OrvexKit/platform/OXObject.h"

namespace ox {

// Whether `object` is an instance of the very class that `model` has at run time, or of one derived
// from it, in whatever way it is derived.
bool isInstanceOfClassOf(const OXObject& object, const OXObject& model) noexcept;

}  // namespace ox

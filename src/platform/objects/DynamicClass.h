// SPDX-License-Identifier: MIT

// The dynamic types of objects.

#pragma once

#include "OrvexKit/platform/OXObject.h"

namespace ox {

// Whether the class of `object` at run time is that of `model`, or publicly derived from it. False
// if either class was compiled without run-time type information.
bool isInstanceOfClassOf(const OXObject& object, const OXObject& model) noexcept;

}  // namespace ox

// SPDX-License-Identifier: MIT

#include "platform/objects/DynamicClass.h"

#include <cstddef>
#include <typeinfo>

// The function behind `dynamic_cast`, called directly because the class is known only at run time.
// The Itanium C++ ABI defines this name. All C++ libraries that follow the ABI have the function,
// but only some declare it.
extern "C" void* oxDynamicCast(const void* object, const std::type_info* objectsClass,
                               const std::type_info* wantedClass,
                               std::ptrdiff_t whereInWantedClass) noexcept
    __asm__("__dynamic_cast");

namespace ox {
namespace {

// The entry before the first function in the object's vtable. Null if the class was compiled
// without run-time type information, in which case `typeid` cannot be used.
const std::type_info* classOf(const OXObject& object) noexcept {
  const auto* const table = *reinterpret_cast<const std::type_info* const* const*>(&object);
  return table[-1];
}

}  // namespace

bool isInstanceOfClassOf(const OXObject& object, const OXObject& model) noexcept {
  const std::type_info* const objectsClass = classOf(object);
  const std::type_info* const modelsClass = classOf(model);
  if (objectsClass == nullptr || modelsClass == nullptr) {
    return false;
  }
  // The call does not see through inheritance that is not public, even to the object's own class.
  constexpr std::ptrdiff_t noHint = -1;
  return *objectsClass == *modelsClass ||
         oxDynamicCast(&object, &typeid(OXObject), modelsClass, noHint) != nullptr;
}

}  // namespace ox

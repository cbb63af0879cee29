#include "platform/objects/DynamicClass.h"

#include <cstddef>
#include <typeinfo>

// What the compiler calls for a `dynamic_cast`, which takes a class that is known only at run time.
// The Itanium C++ ABI has it under this name, and so have all C++ libraries that follow it, while
// only some of them declare it.
extern "C" void* oxDynamicCast(const void* object, const std::type_info* objectsClass,
                               const std::type_info* wantedClass,
                               std::ptrdiff_t whereInWantedClass) noexcept
    __asm__("__dynamic_cast");

namespace ox {
namespace {

// The entry before the first function in the table that an object starts with. Null in classes that
// were compiled without run-time type information, for which `typeid` has no answer.
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
  // The call finds no class behind a derivation that is not public, not even an object's own.
  constexpr std::ptrdiff_t notKnown = -1;
  return *objectsClass == *modelsClass ||
         oxDynamicCast(&object, &typeid(OXObject), modelsClass, notKnown) != nullptr;
}

}  // namespace ox

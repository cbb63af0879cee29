#include "platform/objects/DynamicClass.h"

#include <cxxabi.h>

#include <cstddef>
#include <typeinfo>

namespace ox {
namespace {

// In the Itanium C++ ABI, which both compilers follow, every class's type information is of this
// kind.
const abi::__class_type_info* classInfo(const std::type_info& type) noexcept {
  return static_cast<const abi::__class_type_info*>(&type);
}

}  // namespace

bool isInstanceOfClassOf(const OXObject& object, const OXObject& model) noexcept {
  // What the compiler calls for a `dynamic_cast`, with a class that is known only at run time. The
  // last argument says where the root class lies in that class: not known.
  constexpr std::ptrdiff_t anywhere = -1;
  return abi::__dynamic_cast(&object, classInfo(typeid(OXObject)), classInfo(typeid(model)),
                             anywhere) != nullptr;
}

}  // namespace ox

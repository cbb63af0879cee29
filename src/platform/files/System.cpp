// SPDX-License-Identifier: MIT

#include "platform/files/System.h"

namespace ox {

constinit const System sys{};

}  // namespace ox

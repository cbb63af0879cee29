// SPDX-License-Identifier: MIT

#include "platform/desktop/Desktop.h"

#include <gmock/gmock.h>

#include "support/LogCapture.h"

namespace {

using namespace ox::test;
using testing::ElementsAre;

TEST(Log, WritesTheTextAsItIs) {
  takeLogLines();
  ox::logLine("100% %s\tof it");
  ox::logLine("");
  EXPECT_THAT(takeLogLines(), ElementsAre(libraryLine("100% %s\tof it"), libraryLine("")));
}

}  // namespace

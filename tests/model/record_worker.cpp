// SPDX-License-Identifier: MIT

// A worker process: sends numbered records to standard output.
//
//   record_worker keyed|sequential COUNT          sends COUNT records and exits
//   record_worker keyed|sequential COUNT stall    sends COUNT records and a half, then hangs
//   record_worker keyed|sequential COUNT crash    sends COUNT records and a half, then crashes

#include <OrvexKit/platform/OXCBORCoder.h>
#include <OrvexKit/platform/OXCBORSequence.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "model/Records.h"

int main(int argc, char** argv) {
  if (argc < 3) {
    return EXIT_FAILURE;
  }
  const std::string_view ending = argc > 3 ? argv[3] : "";
  OXCBOREncoder encoder(std::string_view(argv[1]) == "keyed" ? OXCBORMode::keyed
                                                             : OXCBORMode::sequential);
  OXCBORSequenceWriter writer(STDOUT_FILENO);
  const auto count = static_cast<std::uint32_t>(std::stoul(argv[2]));
  for (std::uint32_t number = 0; number < count; ++number) {
    encoder.reset();
    ox::test::numberedRecord(number)->encodeWithCoder(encoder);
    if (!writer.write(encoder.item())) {
      return EXIT_FAILURE;
    }
  }
  if (!ending.empty()) {
    encoder.reset();
    ox::test::numberedRecord(count)->encodeWithCoder(encoder);
    writer.write(encoder.item().first(encoder.item().size() / 2));
  }
  if (!writer.flush()) {
    return EXIT_FAILURE;
  }
  if (ending == "stall") {
    ::pause();
  } else if (ending == "crash") {
    std::abort();
  }
  return EXIT_SUCCESS;
}

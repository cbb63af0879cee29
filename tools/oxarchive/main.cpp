// SPDX-License-Identifier: MIT

// oxarchive: a small command-line archiver on top of OrvexKit and libarchive.

#include <fcntl.h>
#include <unistd.h>

#include <clocale>
#include <exception>
#include <new>
#include <span>
#include <string>

#include "commands/Commands.h"
#include "console/Console.h"
#include "console/Failure.h"
#include "system/Interruption.h"

namespace {

constexpr int failed = 1;
constexpr int badUsage = 2;

// If a standard stream is closed, the next file opened would take its descriptor, and messages
// would be written into that file.
void openStandardStreams() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) < 0) {
      static_cast<void>(::open("/dev/null", O_RDWR));
    }
  }
}

int run(std::span<const char* const> arguments) {
  oxarchive::Console console;
  bool isComplete = false;
  try {
    isComplete = oxarchive::runCommandLine(arguments, console);
  } catch (const oxarchive::UsageError& error) {
    console.message(std::string(error.what()) + "\nTry \"oxarchive --help\".");
    return badUsage;
  } catch (const std::bad_alloc&) {
    console.message("out of memory");
  } catch (const std::exception& error) {
    console.message(error.what());
  }
  oxarchive::endIfInterrupted();
  return isComplete && console.areResultsWritten() ? 0 : failed;
}

}  // namespace

int main(int argc, char** argv) {
  openStandardStreams();
  oxarchive::setWriteSignals(true);
  // Names on disk are UTF-8 or plain bytes, whatever the user's language; libarchive converts names
  // from other encodings to that of the locale.
  if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) {
    static_cast<void>(std::setlocale(LC_CTYPE, ""));
  }
  const std::span<const char* const> all(argv, static_cast<std::size_t>(argc));
  return run(all.subspan(all.empty() ? 0 : 1));
}

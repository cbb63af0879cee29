// oxarchive: a small command-line archiver on top of OrvexKit and libarchive.

#include <fcntl.h>
#include <unistd.h>

#include <clocale>
#include <exception>
#include <new>
#include <span>
#include <string>
#include <variant>

#include "commands/CommandLine.h"
#include "commands/CreateCommand.h"
#include "commands/ExtractCommand.h"
#include "commands/ListCommand.h"
#include "console/Console.h"
#include "console/Failure.h"
#include "console/Password.h"
#include "reading/ListWorker.h"
#include "system/Interruption.h"

namespace {

constexpr int failed = 1;
constexpr int badUsage = 2;

// Where a standard stream is closed, the next file opened would take its place, and messages would
// be written into it.
void openStandardStreams() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) < 0) {
      static_cast<void>(::open("/dev/null", O_RDWR));
    }
  }
}

class Runner {
 public:
  // Whether all was done.
  bool operator()(const oxarchive::HelpOptions& /*options*/) {
    console_.result(oxarchive::helpText);
    return true;
  }
  bool operator()(const oxarchive::ExtractOptions& options) {
    return interruptible([&] { return oxarchive::extractArchives(options, console_); });
  }
  bool operator()(const oxarchive::CreateOptions& options) {
    return interruptible([&] { return oxarchive::createArchive(options, console_); });
  }
  bool operator()(const oxarchive::ListOptions& options) {
    // Names are never encrypted where they can be read; what is wrong with the option is told.
    static_cast<void>(oxarchive::readPassword(options.password, false));
    return oxarchive::listArchive(options, console_);
  }
  bool operator()(const oxarchive::ListWorkerOptions& options) {
    return oxarchive::sendListing(options.archive, {}, console_);
  }

  oxarchive::Console& console() { return console_; }

 private:
  // Ends the program by the signal that has come meanwhile, if any.
  template <typename Work>
  bool interruptible(Work work) {
    oxarchive::catchInterruptions();
    bool isComplete = false;
    try {
      isComplete = work();
    } catch (const oxarchive::ArchiveFailure& failure) {
      console_.message(failure.what());
    }
    oxarchive::endIfInterrupted();
    return isComplete;
  }

  oxarchive::Console console_;
};

int run(std::span<const char* const> arguments) {
  Runner runner;
  try {
    const bool isComplete = std::visit(runner, oxarchive::parseCommandLine(arguments));
    return isComplete && runner.console().areResultsWritten() ? 0 : failed;
  } catch (const oxarchive::UsageError& error) {
    runner.console().message(std::string(error.what()) + "\nTry \"oxarchive --help\".");
    return badUsage;
  } catch (const std::bad_alloc&) {
    runner.console().message("out of memory");
  } catch (const std::exception& error) {
    runner.console().message(error.what());
  }
  return failed;
}

}  // namespace

int main(int argc, char** argv) {
  openStandardStreams();
  oxarchive::ignoreWriteSignals();
  // Names on disk are UTF-8, or bytes, whatever the language of the user; libarchive goes by the
  // locale when an archive has them in another form.
  if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) {
    static_cast<void>(std::setlocale(LC_CTYPE, ""));
  }
  const std::span<const char* const> all(argv, static_cast<std::size_t>(argc));
  return run(all.subspan(all.empty() ? 0 : 1));
}

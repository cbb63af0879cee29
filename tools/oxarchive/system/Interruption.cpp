// SPDX-License-Identifier: MIT

#include "system/Interruption.h"

#include <csignal>

#include "console/Failure.h"

namespace oxarchive {
namespace {

volatile std::sig_atomic_t caughtSignal = 0;

extern "C" void rememberSignal(int signal) {
  caughtSignal = signal;
}

}  // namespace

void setWriteSignals(bool areIgnored) {
  for (const int signal : {SIGPIPE, SIGXFSZ}) {
    static_cast<void>(::signal(signal, areIgnored ? SIG_IGN : SIG_DFL));
  }
}

void catchInterruptions(bool isOnce) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) {
      continue;
    }
    action = {};
    action.sa_handler = rememberSignal;
    action.sa_flags = SA_RESTART | (isOnce ? static_cast<int>(SA_RESETHAND) : 0);
    ::sigaction(signal, &action, nullptr);
  }
}

bool isInterrupted() {
  return caughtSignal != 0;
}

void throwIfInterrupted() {
  if (isInterrupted()) {
    throw ArchiveFailure("interrupted");
  }
}

void endIfInterrupted() {
  if (isInterrupted()) {
    static_cast<void>(::signal(caughtSignal, SIG_DFL));
    static_cast<void>(::raise(caughtSignal));
  }
}

}  // namespace oxarchive

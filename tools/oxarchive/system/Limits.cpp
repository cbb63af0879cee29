// SPDX-License-Identifier: MIT

#include "system/Limits.h"

#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <utility>

namespace oxarchive {
namespace {

std::atomic<unsigned> noted = 0;  // lock-free, since a signal handler reads it
unsigned seen = 0;
std::uint64_t idleSeconds = 0;
std::uint64_t patience = 0;
std::function<void()> lastWork;

extern "C" void countSecond(int /*signal*/) {
  const unsigned now = noted.load(std::memory_order_relaxed);
  idleSeconds = now == seen ? idleSeconds + 1 : 0;
  seen = now;
  if (idleSeconds >= patience) {
    lastWork();
    ::_exit(gaveUp);
  }
}

}  // namespace

void demandHeadway(std::uint64_t seconds, std::function<void()> beforeEnd) {
  lastWork = std::move(beforeEnd);
  patience = seconds;
  struct sigaction action {};
  action.sa_handler = countSecond;
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGPROF, &action, nullptr);
  const itimerval everySecond{.it_interval = {1, 0}, .it_value = {1, 0}};
  ::setitimer(ITIMER_PROF, &everySecond, nullptr);
}

void noteHeadway() {
  noted.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace oxarchive

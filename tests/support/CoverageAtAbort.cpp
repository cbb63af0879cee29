// What ran is counted in memory and written when a process ends in the ordinary way. With this in
// the library it is written as well when a fatal error ends the process.

#include <csignal>

extern "C" void __gcov_dump();

namespace {

[[gnu::constructor]] void writeCountsAtAbort() {
  std::signal(SIGABRT, [](int /*signal*/) { __gcov_dump(); });
}

}  // namespace

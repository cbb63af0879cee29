// SPDX-License-Identifier: MIT

#include "console/Console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "console/Failure.h"
#include "console/Printable.h"
#include "system/Files.h"

namespace oxarchive {
namespace {

constexpr std::chrono::milliseconds interval(100);
constexpr std::string_view clearLine = "\r\x1b[K";

bool isTerminalThatRedraws() {
  const char* const terminal = std::getenv("TERM");
  return ::isatty(STDERR_FILENO) == 1 && terminal != nullptr && *terminal != '\0' &&
         std::string_view(terminal) != "dumb";
}

std::size_t columns() {
  winsize size{};
  return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

// "photos.tar.gz  [=====>     ]  45%"
std::string progressLine(const std::string& label, unsigned percent, std::size_t width) {
  constexpr std::size_t frame = std::string_view("  [] 100%").size();
  constexpr std::size_t shortestBar = 10;
  // Leaves the last column free, so that no terminal wraps the line.
  const std::size_t room = width > frame + 1 ? width - frame - 1 : 0;
  if (room < shortestBar) {
    return std::to_string(percent) + "%";
  }
  const std::string name = lastCells(label, std::max<std::size_t>(room / 2, 1));
  const std::size_t length = room - std::min(room, cellCount(name));
  const std::size_t filled = length * percent / 100;
  std::string bar(filled, '=');
  if (filled < length) {
    bar += '>';
    bar.append(length - filled - 1, ' ');
  }
  const std::string number = std::to_string(percent);
  return name + "  [" + bar + "] " + std::string(3 - number.size(), ' ') + number + "%";
}

}  // namespace

bool writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = retried([&] { return ::write(fd, text.data(), text.size()); });
    if (count < 0) {
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

Console::Console() : canRedraw_(isTerminalThatRedraws()) {}

void Console::results(std::string_view bytes) {
  clearProgress();
  if (areResultsWritten_ && !writeAll(STDOUT_FILENO, bytes)) {
    areResultsWritten_ = false;
    message(withSystemReason("cannot write to standard output", errno));
  }
}

void Console::message(const std::string& text) {
  clearProgress();
  writeAll(STDERR_FILENO, "oxarchive: " + text + "\n");
}

void Console::showProgress(const std::string& label, std::uint64_t done, std::uint64_t total) {
  if (!canRedraw_) {
    return;
  }
  const auto now = std::chrono::steady_clock::now();
  if (now < nextProgress_) {
    return;
  }
  nextProgress_ = now + interval;
  const double share = total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 1;
  const auto percent = static_cast<unsigned>(std::clamp(share, 0.0, 1.0) * 100);
  writeAll(STDERR_FILENO, std::string(clearLine) + progressLine(label, percent, columns()));
  isProgressShown_ = true;
}

void Console::clearAnyProgress() {
  isProgressShown_ = canRedraw_;
  clearProgress();
}

void Console::clearProgress() {
  if (isProgressShown_) {
    writeAll(STDERR_FILENO, clearLine);
    isProgressShown_ = false;
  }
}

}  // namespace oxarchive

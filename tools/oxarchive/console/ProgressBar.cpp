#include "console/ProgressBar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <tuple>

#include "console/Printable.h"

namespace oxarchive {
namespace {

constexpr std::chrono::milliseconds interval(100);
constexpr std::string_view clearLine = "\r\x1b[K";

bool canRedraw(int fd) {
  const char* const terminal = std::getenv("TERM");
  return ::isatty(fd) == 1 && terminal != nullptr && *terminal != '\0' &&
         std::string_view(terminal) != "dumb";
}

std::size_t columns(int fd) {
  winsize size{};
  return ::ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void write(int fd, std::string_view text) {
  // A failed write is ignored: the next drawing follows soon.
  std::ignore = ::write(fd, text.data(), text.size());
}

// "photos.tar.gz  [=====>     ]  45%"
std::string line(const std::string& label, unsigned percent, std::size_t width) {
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

ProgressBar::ProgressBar(int fd) : fd_(fd), isUsable_(canRedraw(fd)) {}

void ProgressBar::show(const std::string& label, std::uint64_t done, std::uint64_t total) {
  if (!isUsable_) {
    return;
  }
  const auto now = std::chrono::steady_clock::now();
  if (now < nextTime_) {
    return;
  }
  nextTime_ = now + interval;
  const double share = total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 1;
  const auto percent = static_cast<unsigned>(std::clamp(share, 0.0, 1.0) * 100);
  write(fd_, std::string(clearLine) + line(label, percent, columns(fd_)));
  isShown_ = true;
}

void ProgressBar::clearAll() {
  isShown_ = isUsable_;
  clear();
}

void ProgressBar::clear() {
  if (isShown_) {
    write(fd_, clearLine);
    isShown_ = false;
  }
}

}  // namespace oxarchive

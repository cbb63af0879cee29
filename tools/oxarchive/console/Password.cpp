// SPDX-License-Identifier: MIT

#include "console/Password.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <tuple>

#include "console/Failure.h"
#include "console/Printable.h"
#include "system/Files.h"
#include "system/Interruption.h"

namespace oxarchive {
namespace {

constexpr std::size_t longestPassword = 1024;

[[noreturn]] void fail(const std::string& reason) {
  throw std::runtime_error(reason);
}

// A signal does not interrupt `read`, so waits in short steps; a signal just before a wait is seen
// soon.
void waitForInput(int fd) {
  constexpr int milliseconds = 200;
  pollfd polled{fd, POLLIN, 0};
  do {
    throwIfInterrupted();
  } while (::poll(&polled, 1, milliseconds) <= 0);
  throwIfInterrupted();
}

// Reads to the end of the line or of the file, and no byte beyond.
std::string readLine(int fd, const std::string& subject) {
  std::string line;
  for (;;) {
    waitForInput(fd);
    char byte = 0;
    const ssize_t count = retried([&] { return ::read(fd, &byte, 1); });
    if (count < 0) {
      fail(withSystemReason(subject + " cannot be read", errno));
    }
    if (count == 0 || byte == '\n') {
      return line;
    }
    if (byte == '\0' || line.size() == longestPassword) {
      fail(subject + " does not hold a password");
    }
    line += byte;
  }
}

std::string passwordInFile(const std::string& name) {
  if (name == "-") {
    return readLine(STDIN_FILENO, "standard input");
  }
  const std::string subject = "the password file " + printable(name);
  const Descriptor file(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) {
    fail(withSystemReason(subject + " cannot be opened", errno));
  }
  return readLine(file.get(), subject);
}

std::string passwordInEnvironment(const std::string& name) {
  const char* const value = std::getenv(name.c_str());
  if (value == nullptr) {
    fail("the environment variable " + printable(name) + " is not set");
  }
  return value;
}

// Turns off the echo of the terminal during its lifetime.
class SilentTerminal {
 public:
  SilentTerminal() : terminal_(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (!terminal_.isOpen() || ::tcgetattr(terminal_.get(), &before_) != 0) {
      fail("there is no terminal to ask for a password on");
    }
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ::tcsetattr(terminal_.get(), TCSAFLUSH, &silent);
  }
  ~SilentTerminal() { ::tcsetattr(terminal_.get(), TCSAFLUSH, &before_); }

  std::string ask(std::string_view prompt) {
    show(prompt);
    std::string line = readLine(terminal_.get(), "the terminal");
    show("\n");
    return line;
  }

 private:
  void show(std::string_view text) {
    std::ignore = ::write(terminal_.get(), text.data(), text.size());
  }

  Descriptor terminal_;
  termios before_{};
};

std::string passwordOnTerminal(bool isNew) {
  SilentTerminal terminal;
  std::string password = terminal.ask("Password: ");
  if (isNew && terminal.ask("Password again: ") != password) {
    fail("the two passwords differ");
  }
  return password;
}

}  // namespace

OXString readPassword(const PasswordSource& source, bool isNew) {
  using Kind = PasswordSource::Kind;
  if (source.kind == Kind::none) {
    return std::nullopt;
  }
  std::string password = source.kind == Kind::terminal ? passwordOnTerminal(isNew)
                         : source.kind == Kind::file   ? passwordInFile(source.name)
                                                       : passwordInEnvironment(source.name);
  if (password.empty()) {
    fail("the password is empty");
  }
  return password;
}

}  // namespace oxarchive

// SPDX-License-Identifier: MIT

// A separate process for the tests. Each argument is a step, "verb" or "verb:operand"; prints the
// library's result of each step on a line.

#include <OrvexKit/OrvexKit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <clocale>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#ifdef OX_INNER
#include "support/ObservedSystem.h"
#endif

extern "C" int __lsan_is_turned_off();

namespace {

bool isAnotherUser = false;

void print(const OXString& answer) {
  std::cout << answer.value_or("(null)") << '\n';
}

// Prints each distinct answer that 16 threads get at the same moment. `ask` gets the thread's
// number.
void race(const std::function<std::vector<OXString>(std::size_t)>& ask) {
  constexpr std::size_t count = 16;
  std::vector<std::vector<OXString>> answers(count);
  std::atomic<std::size_t> waiting{count};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      --waiting;
      while (waiting > 0) {
        std::this_thread::yield();
      }
      answers[i] = ask(i);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::set<OXString> distinct;
  for (const std::vector<OXString>& some : answers) {
    distinct.insert(some.begin(), some.end());
  }
  for (const OXString& answer : distinct) {
    print(answer);
  }
}

// Each thread starts with a different one of the three.
void raceForTheSupportFolders(const std::string& /*none*/) {
  constexpr std::array<OXString (*)(), 3> functions{OXAppSupportDir, OXUserCodecsPath,
                                                    OXRARCodecPath};
  race([&](std::size_t thread) {
    std::vector<OXString> answers;
    for (std::size_t k = 0; k < functions.size(); ++k) {
      answers.push_back(functions[(thread + k) % functions.size()]());
    }
    return answers;
  });
}

void raceForDigests(const std::string& path) {
  race([&](std::size_t) { return std::vector{OXGenerateMD5DigestForFile(path)}; });
}

void raceForDates(const std::string& seconds) {
  const OXDate date(OXDate::duration(std::stod(seconds)));
  race([&](std::size_t) { return std::vector{OXFileUtilAdditions::fileDateDescription(date)}; });
}

void raceForKinds(const std::string& path) {
  race([&](std::size_t) { return std::vector{OXFileUtilAdditions::fileDescription(path)}; });
}

std::ptrdiff_t threadCount() {
  const auto threads = std::filesystem::directory_iterator("/proc/self/task");
  return std::distance(begin(threads), end(threads));
}

std::ptrdiff_t socketCount() {
  const auto descriptors = std::filesystem::directory_iterator("/proc/self/fd");
  return std::count_if(begin(descriptors), end(descriptors), [](const auto& descriptor) {
    std::error_code gone;
    return read_symlink(descriptor.path(), gone).native().starts_with("socket:");
  });
}

void setVariable(const std::string& assignment) {
  const std::size_t equals = assignment.find('=');
  ::setenv(assignment.substr(0, equals).c_str(), assignment.substr(equals + 1).c_str(), 1);
}

// Only root can do this, and it is permanent. The library is already loaded, so the user need not
// be able to read it.
void becomeUser(const std::string& number) {
  const auto id = static_cast<uid_t>(std::stoul(number));
  if (::setgid(id) != 0 || ::setuid(id) != 0) {
    std::cerr << "no such change of user\n";
    std::exit(2);
  }
  isAnotherUser = true;
}

// From now on madvise() does nothing, and succeeds. Prints whether that is possible.
void ignoreAdvice(const std::string& /*none*/) {
  std::array<sock_filter, 4> steps{{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                                    BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_madvise, 0, 1),
                                    BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO),
                                    BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)}};
  const sock_fprog filter{steps.size(), steps.data()};
  std::cout << (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0)
            << '\n';
}

// Prints whether a scratch folder is there after a forked child has destroyed its copy.
void forkWithAScratchFolder(const std::string& /*none*/) {
  std::optional<OXScopedTempDir> folder(std::in_place);
  const std::string path = folder->path().value();
  if (const pid_t child = ::fork(); child == 0) {
    folder.reset();
    ::_exit(0);
  } else {
    ::waitpid(child, nullptr, 0);
  }
  std::cout << std::filesystem::exists(path) << '\n';
}

#ifdef OX_INNER
void failToLoadLibraries(const std::string& onOrOff) {
  static std::optional<ox::test::ObservedSystem> observed;
  if (onOrOff == "on") {
    observed.emplace().fail(ox::test::Call::dlopen, 0);
  } else {
    observed.reset();
  }
}
#endif

using Verb = void (*)(const std::string& operand);

const std::map<std::string, Verb, std::less<>> verbs = {
    {"setenv", setVariable},
    {"user", becomeUser},
    {"support", [](const std::string&) { print(OXAppSupportDir()); }},
    {"codecs", [](const std::string&) { print(OXUserCodecsPath()); }},
    {"rar", [](const std::string&) { print(OXRARCodecPath()); }},
    {"remove", [](const std::string& path) { std::cout << ::remove(path.c_str()) << '\n'; }},
    {"race", raceForTheSupportFolders},
    {"digest", [](const std::string& path) { print(OXGenerateMD5DigestForFile(path)); }},
    {"date",
     [](const std::string& seconds) {
       const OXDate date(OXDate::duration(std::stod(seconds)));
       print(OXFileUtilAdditions::fileDateDescription(date));
     }},
    {"kind", [](const std::string& path) { print(OXFileUtilAdditions::fileDescription(path)); }},
    {"size", [](const std::string& size) { print(OXHumanReadableFileSize(std::stoll(size))); }},
    {"setlocale",
     [](const std::string& name) {
       std::cout << (std::setlocale(LC_ALL, name.c_str()) != nullptr) << '\n';
     }},
    {"trash", [](const std::string& path) { std::cout << OXMoveFileToTrashSync(path) << '\n'; }},
    {"race-for-dates", raceForDates},
    {"race-for-kinds", raceForKinds},
    {"threads", [](const std::string&) { std::cout << threadCount() << '\n'; }},
    {"sockets", [](const std::string&) { std::cout << socketCount() << '\n'; }},
    {"race-for-digests", raceForDigests},
    {"ignore-advice", ignoreAdvice},
    {"fork", forkWithAScratchFolder},
#ifdef OX_INNER
    {"fail-dlopen", failToLoadLibraries},
#endif
};

bool take(const std::string& step) {
  const std::size_t colon = step.find(':');
  const auto verb = verbs.find(step.substr(0, colon));
  if (verb == verbs.end()) {
    std::cerr << "unknown step: " << step << '\n';
    return false;
  }
  verb->second(colon == std::string::npos ? "" : step.substr(colon + 1));
  return true;
}

}  // namespace

// The leak sanitizer calls this at the end. It would read which leaks of other libraries are known
// from a file that may lie where only root can enter.
int __lsan_is_turned_off() {
  return isAnotherUser ? 1 : 0;
}

int main(int count, char** arguments) {
  for (int i = 1; i < count; ++i) {
    if (!take(arguments[i])) {
      return 2;
    }
  }
  return 0;
}

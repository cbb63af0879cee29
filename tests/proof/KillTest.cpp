// SPDX-License-Identifier: MIT

// A process killed while it makes extraction folders and moves items to the Trash loses nothing:
// each item is in its place or, complete and with its entry, in the Trash, and items beside the
// scratch folders are unchanged.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/Pipe.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using ox::test::listing;
using ox::test::readFile;
using ox::test::writeFile;

constexpr int rounds = 300;
constexpr int itemCount = 24;

// Items of every kind, with unique contents
// ------------------------------------------------------------------------------------------------

enum class Kind { smallFile, largeFile, folder, link };

Kind kindOf(int item) {
  return static_cast<Kind>(item % 4);
}

// An entry escapes some of the characters.
std::string nameOf(int item) {
  return "item " + std::to_string(item) + ", 100% \xc3\xa9.tar.gz";
}

std::string contentsOf(int item) {
  std::string text;
  const int lines = kindOf(item) == Kind::largeFile ? 500 : 1;
  for (int i = 0; i < lines; ++i) {
    text += nameOf(item) + '\n';
  }
  return text;
}

void makeItem(const std::string& path, int item) {
  switch (kindOf(item)) {
    case Kind::smallFile:
    case Kind::largeFile:
      writeFile(path, contentsOf(item));
      break;
    case Kind::folder:
      fs::create_directories(path + "/inner");
      writeFile(path + "/inner/file", contentsOf(item));
      break;
    case Kind::link:
      fs::create_symlink("nowhere/" + nameOf(item), path);
      break;
  }
}

bool isWhole(const std::string& path, int item) {
  switch (kindOf(item)) {
    case Kind::smallFile:
    case Kind::largeFile:
      return fs::is_regular_file(fs::symlink_status(path)) && readFile(path) == contentsOf(item);
    case Kind::folder:
      return ox::test::isFolder(path) &&
             listing(path) == std::vector<std::string>{"inner", "inner/file"} &&
             readFile(path + "/inner/file") == contentsOf(item);
    case Kind::link:
      return fs::is_symlink(path) && fs::read_symlink(path) == "nowhere/" + nameOf(item);
  }
  return false;
}

// The names in one folder, not recursive.
std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code missing;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, missing)) {
    names.push_back(entry.path().filename());
  }
  std::ranges::sort(names);
  return names;
}

// The path in an entry of the Trash; no value if the entry is incomplete.
std::optional<std::string> pathInEntry(const std::string& entry) {
  static const std::regex form(
      "\\[Trash Info\\]\nPath=([^\n]*)\n"
      "DeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\n");
  std::smatch match;
  if (!std::regex_match(entry, match, form)) {
    return std::nullopt;
  }
  const std::string escaped = match[1];
  std::string path;
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    if (escaped[i] == '%') {
      path += static_cast<char>(std::stoi(escaped.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      path += escaped[i];
    }
  }
  return path;
}

// A worker that runs until it is killed
// ------------------------------------------------------------------------------------------------

class Worker {
 public:
  explicit Worker(std::vector<std::string> arguments) {
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
      words.push_back(argument.data());
    }
    words.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(output_.writing(), STDOUT_FILENO);
      ::execv(words.front(), words.data());
      ::_exit(127);
    }
    output_.closeWriting();
  }
  ~Worker() { kill(); }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Waits until it has printed this many lines; false if it ends before.
  bool awaitLines(std::size_t count) {
    while (static_cast<std::size_t>(std::ranges::count(told_, '\n')) < count) {
      if (!readMore()) {
        return false;
      }
    }
    return true;
  }

  // Returns its exit status.
  int kill() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, &status_, 0);
      pid_ = -1;
    }
    return status_;
  }

  // Everything that it printed until it was killed.
  std::vector<std::string> lines() {
    while (readMore()) {
    }
    std::istringstream text(told_);
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
      lines.push_back(line);
    }
    return lines;
  }

 private:
  bool readMore() {
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(output_.reading(), buffer.data(), buffer.size());
    told_.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0;
  }

  ox::test::Pipe output_;
  pid_t pid_ = -1;
  int status_ = 0;
  std::string told_;
};

// ------------------------------------------------------------------------------------------------

// In memory: the file system does not matter, but on a disk most of the time, and most kills, would
// fall into waits for it.
class Kill : private ox::test::InMemory, public ox::test::TemporaryFolderTest {
 protected:
  void SetUp() override {
    for (const std::string* const folder : {&items_, &destination_, &data_}) {
      fs::create_directory(*folder);
    }
    for (const std::string& folder : bystandersIn_) {
      for (int item = 0; item < bystanderCount; ++item) {
        makeItem(folder + "/" + bystander(item), item);
      }
    }
  }

  void TearDown() override {
    // After a failure the failed items are already named, so they are not listed again.
    for (const std::string& folder : {work(), tmp(), home()}) {
      for (const std::string& name : namesIn(folder)) {
        fs::remove_all(fs::path(folder) / name);
      }
    }
    TemporaryFolderTest::TearDown();
  }

  void makeMissingItems() {
    for (int item = 0; item < itemCount; ++item) {
      if (!ox::test::exists(placeOf(item))) {
        makeItem(placeOf(item), item);
      }
    }
  }

  // The lines that it printed.
  std::vector<std::string> runAndKill(std::mt19937_64& random) {
    const ox::test::ScopedEnvironment dataFolder("XDG_DATA_HOME", data_);
    Worker worker({OX_KILL_WORKER, items_, destination_, home(), std::to_string(random())});
    // After a random number of calls, at a random moment in the next.
    EXPECT_TRUE(worker.awaitLines(1 + random() % 40));
    ::usleep(static_cast<useconds_t>(random() % 500));
    const int status = worker.kill();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    return worker.lines();
  }

  // Each item is either in its place, or in the Trash with its entry.
  void checkItems(const std::vector<std::string>& told) {
    std::map<std::string, std::string> inTrash = itemsInTrash();
    for (int item = 0; item < itemCount; ++item) {
      const auto moved = inTrash.find(placeOf(item));
      const bool isMoved = moved != inTrash.end();
      EXPECT_NE(ox::test::exists(placeOf(item)), isMoved) << placeOf(item);
      EXPECT_TRUE(isWhole(isMoved ? moved->second : placeOf(item), item)) << placeOf(item);
      if (std::ranges::count(told, "trashed " + placeOf(item)) > 0) {
        EXPECT_TRUE(isMoved) << placeOf(item);
      }
      EXPECT_EQ(std::ranges::count(told, "not trashed " + placeOf(item)), 0);
      if (isMoved) {
        fs::remove_all(moved->second);
        fs::remove(entryOf(fs::path(moved->second).filename()));
        inTrash.erase(moved);
        ++movedCount_;
      }
    }
    EXPECT_TRUE(inTrash.empty()) << "an item in the Trash came from elsewhere";
  }

  // The original and the present path of each item in the Trash. There may be entries without an
  // item, since an entry is made before its item moves.
  std::map<std::string, std::string> itemsInTrash() {
    std::map<std::string, std::string> items;
    for (const std::string& name : namesIn(trash_ + "/files")) {
      EXPECT_TRUE(ox::test::exists(entryOf(name))) << name;
      const std::optional<std::string> place = pathInEntry(readFile(entryOf(name)));
      EXPECT_TRUE(place) << name;
      const bool isFirst = items.emplace(place.value_or(name), trash_ + "/files/" + name).second;
      EXPECT_TRUE(isFirst) << name;
    }
    return items;
  }

  // Checks that the extraction folders are empty, belong to this worker, and exist if they were
  // reported; then removes them.
  void checkDestination(const std::vector<std::string>& told) {
    std::vector<std::string> names = namesIn(destination_);
    std::erase_if(names, isBystander);
    for (const std::string& line : told) {
      if (line.starts_with("folder ")) {
        const std::string path = line.substr(7);
        EXPECT_EQ(std::erase(names, fs::path(path).filename()), 1U) << path;
        EXPECT_EQ(::rmdir(path.c_str()), 0) << path;
      }
    }
    // One more may exist that was not reported.
    EXPECT_LE(names.size(), 1U);
    for (const std::string& name : names) {
      EXPECT_EQ(::rmdir((destination_ + "/" + name).c_str()), 0) << name;
    }
  }

  // Only scratch folders may be left, in the temporary folder; removes them.
  void checkLeftovers() {
    std::size_t leftovers = 0;
    for (const std::string& name : namesIn(tmp())) {
      if (!isBystander(name)) {
        EXPECT_TRUE(name.starts_with(".orvx.") && name.size() == 12) << name;
        fs::remove_all(tmp() + "/" + name);
        ++leftovers;
      }
    }
    EXPECT_LE(leftovers, 1U);
    interruptedCount_ += leftovers;
    checkBystanders();
    EXPECT_EQ(namesIn(data_), std::vector<std::string>(fs::exists(trash_) ? 1 : 0, "Trash"));
    EXPECT_EQ(namesIn(work()), (std::vector<std::string>{"data", "destination", "items"}));
  }

  void checkBystanders() {
    for (const std::string& folder : bystandersIn_) {
      for (int item = 0; item < bystanderCount; ++item) {
        EXPECT_TRUE(isWhole(folder + "/" + bystander(item), item)) << folder << ' ' << item;
      }
    }
    EXPECT_EQ(namesIn(home()).size(), bystanderNames.size());
  }

  std::size_t entryCount() const { return namesIn(trash_ + "/info").size(); }
  int movedCount() const { return movedCount_; }
  std::size_t interruptedCount() const { return interruptedCount_; }

 private:
  // The names that the extraction folders would otherwise get.
  static constexpr std::array<std::string_view, 4> bystanderNames{"photos", "photos (1)",
                                                                  "photos (2)", "photos (4)"};
  static constexpr int bystanderCount = bystanderNames.size();

  static std::string bystander(int item) {
    return std::string(bystanderNames.at(static_cast<std::size_t>(item)));
  }
  static bool isBystander(const std::string& name) {
    return std::ranges::count(bystanderNames, name) > 0;
  }
  std::string placeOf(int item) const { return items_ + "/" + nameOf(item); }
  std::string entryOf(const std::string& name) const {
    return trash_ + "/info/" + name + ".trashinfo";
  }

  const std::string items_ = in("items");
  const std::string destination_ = in("destination");
  const std::string data_ = in("data");
  const std::string trash_ = data_ + "/Trash";
  const std::vector<std::string> bystandersIn_{destination_, tmp(), home()};
  int movedCount_ = 0;
  std::size_t interruptedCount_ = 0;
};

TEST_F(Kill, LosesNothingOutsideTheScratchFolders) {
  std::mt19937_64 random(20);
  for (int round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    makeMissingItems();
    const std::vector<std::string> told = runAndKill(random);
    checkItems(told);
    checkDestination(told);
    checkLeftovers();
  }
  // Kills outside of calls would prove nothing.
  EXPECT_GT(movedCount(), rounds);
  EXPECT_GT(interruptedCount(), 0U) << "no kill left a scratch folder";
  EXPECT_GT(entryCount(), 0U) << "no kill left an entry without its item";
  RecordProperty("interrupted_in_scratch_folder", std::to_string(interruptedCount()));
  RecordProperty("interrupted_before_the_move", std::to_string(entryCount()));
  RecordProperty("moved", movedCount());
}

}  // namespace

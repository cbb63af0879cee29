// SPDX-License-Identifier: MIT

// The user's own folders. A process determines them once, so every row runs in its own process.

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace {

using ox::test::ChildProcess;
using ox::test::exists;
using ox::test::isFolder;
using ox::test::linesOf;
using ox::test::removeOne;

using Lines = std::vector<std::string>;
using Environment = std::vector<std::pair<std::string, std::optional<std::string>>>;

mode_t modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

class SupportLocations : public ox::test::TemporaryFolderTest {
 protected:
  static Lines probe(std::vector<std::string> steps, Environment environment) {
    return linesOf(ChildProcess{
        .program = OX_PROBE, .arguments = std::move(steps), .environment = std::move(environment)});
  }

  static void removeFolders(const std::string& support) {
    removeOne(support + "/codecs");
    removeOne(support);
  }
};

TEST_F(SupportLocations, TheFirstCallForTheRarCodecMakesBothFolders) {
  const std::string support = in("Orvex");
  EXPECT_EQ(probe({"rar"}, {{"XDG_DATA_HOME", work()}}), Lines{support + "/codecs/rar/rar"});
  EXPECT_EQ(ox::test::listing(work()), (std::vector<std::string>{"Orvex", "Orvex/codecs"}));
  removeFolders(support);
}

TEST_F(SupportLocations, EachCallMakesItsOwnFolderAndThoseAbove) {
  EXPECT_EQ(probe({"support"}, {{"XDG_DATA_HOME", work()}}), Lines{in("Orvex")});
  EXPECT_EQ(ox::test::listing(work()), std::vector<std::string>{"Orvex"});
  EXPECT_EQ(probe({"codecs"}, {{"XDG_DATA_HOME", work()}}), Lines{in("Orvex/codecs")});
  EXPECT_EQ(ox::test::listing(work()), (std::vector<std::string>{"Orvex", "Orvex/codecs"}));
  removeFolders(in("Orvex"));
}

TEST_F(SupportLocations, FollowTheEnvironment) {
  struct Row {
    Environment environment;
    std::string parent;
  };
  const std::string share = in("home/.local/share");
  const std::vector<Row> rows = {
      {{{"XDG_DATA_HOME", in("data")}, {"HOME", in("home")}}, in("data")},
      {{{"XDG_DATA_HOME", in("data//")}, {"HOME", std::nullopt}}, in("data")},
      {{{"XDG_DATA_HOME", std::nullopt}, {"HOME", in("home")}}, share},
      {{{"XDG_DATA_HOME", ""}, {"HOME", in("home")}}, share},
      {{{"XDG_DATA_HOME", "data"}, {"HOME", in("home")}}, share},
      {{{"XDG_DATA_HOME", "./data"}, {"HOME", in("home/")}}, share},
      {{{"XDG_DATA_HOME", in("\xff \xc3\xa4")}, {"HOME", in("home")}}, in("\xff \xc3\xa4")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.environment));
    const std::string support = row.parent + "/Orvex";
    const std::string codecs = support + "/codecs";
    EXPECT_EQ(probe({"support", "codecs", "rar"}, row.environment),
              (Lines{support, codecs, codecs + "/rar/rar"}));
    removeFolders(support);
    for (std::string folder = row.parent; folder != work();
         folder.resize(folder.find_last_of('/'))) {
      removeOne(folder);
    }
  }
}

TEST_F(SupportLocations, AreMadeForTheUserAlone) {
  const mode_t before = ::umask(0);
  static_cast<void>(probe({"codecs"}, {{"XDG_DATA_HOME", in("a/b")}}));
  ::umask(before);
  for (const char* folder : {"a/b/Orvex/codecs", "a/b/Orvex", "a/b", "a"}) {
    EXPECT_EQ(modeOf(in(folder)), 0700U) << folder;
    removeOne(in(folder));
  }
}

TEST_F(SupportLocations, LeaveAFolderThatIsThereAsItIs) {
  ASSERT_EQ(::mkdir(in("Orvex").c_str(), 0755), 0);
  ASSERT_EQ(::chmod(in("Orvex").c_str(), 0755), 0);
  ox::test::writeFile(in("Orvex/kept"), "kept");
  EXPECT_EQ(probe({"support"}, {{"XDG_DATA_HOME", work()}}), Lines{in("Orvex")});
  EXPECT_EQ(modeOf(in("Orvex")), 0755U);
  EXPECT_EQ(ox::test::readFile(in("Orvex/kept")), "kept");
  removeOne(in("Orvex/kept"));
  removeOne(in("Orvex"));
}

TEST_F(SupportLocations, AreMadeOnceAndNotAgain) {
  const std::string support = in("Orvex");
  EXPECT_EQ(probe({"rar", "remove:" + support + "/codecs", "remove:" + support, "rar", "codecs",
                   "support"},
                  {{"XDG_DATA_HOME", work()}}),
            (Lines{support + "/codecs/rar/rar", "0", "0", support + "/codecs/rar/rar",
                   support + "/codecs", support}));
  EXPECT_FALSE(exists(support));
}

TEST_F(SupportLocations, DoNotFollowLaterChangesOfTheEnvironment) {
  const std::string support = in("Orvex");
  EXPECT_EQ(
      probe({"support", "setenv:XDG_DATA_HOME=" + in("other"), "rar"}, {{"XDG_DATA_HOME", work()}}),
      (Lines{support, support + "/codecs/rar/rar"}));
  removeFolders(support);
}

TEST_F(SupportLocations, AreNamedEvenWhenTheyCannotBeMade) {
  ox::test::writeFile(in("file"));
  const std::string support = in("file/Orvex");
  EXPECT_EQ(probe({"rar", "support"}, {{"XDG_DATA_HOME", in("file")}}),
            (Lines{support + "/codecs/rar/rar", support}));
  removeOne(in("file"));
}

TEST_F(SupportLocations, AreTheSameForThreadsThatAskAtTheSameMoment) {
  const std::string support = in("Orvex");
  EXPECT_EQ(probe({"race"}, {{"XDG_DATA_HOME", work()}}),
            (Lines{support, support + "/codecs", support + "/codecs/rar/rar"}));
  EXPECT_TRUE(isFolder(support + "/codecs"));
  removeFolders(support);
}

TEST_F(SupportLocations, AreInThePasswordDatabasesHomeWithoutAnyInTheEnvironment) {
  OX_SKIP_UNLESS_ROOT("only root can become another user");
  // This user's home does not exist, and the user cannot create it.
  const struct passwd* const nobody = ::getpwnam("nobody");
  if (nobody == nullptr || std::string_view(nobody->pw_dir) != "/nonexistent") {
    GTEST_SKIP() << "the home of nobody is not /nonexistent";
  }
  const std::string user = "user:" + std::to_string(nobody->pw_uid);
  for (const char* home : {"", "relative/home"}) {
    EXPECT_EQ(probe({user, "rar"}, {{"XDG_DATA_HOME", std::nullopt}, {"HOME", home}}),
              Lines{"/nonexistent/.local/share/Orvex/codecs/rar/rar"});
  }
  EXPECT_FALSE(exists("/nonexistent"));
}

TEST_F(SupportLocations, TakeTheHomeOfAnEntryOfAnyLengthUnlessItIsRelative) {
  OX_SKIP_UNLESS_ROOT("only root may mount another password database");
  const std::string password = in("passwd");
  const std::string longHome = "/nonexistent" + std::string(5000, 'n');
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"/nonexistent", "/nonexistent/.local/share/Orvex"},
      {longHome, longHome + "/.local/share/Orvex"},
      {"", "(null)"},
      {"relative", "(null)"},
  };
  for (const auto& [home, support] : rows) {
    SCOPED_TRACE(home.substr(0, 20));
    std::string entry("someone:x:54321:54321:");
    entry.append(3000, 'n');  // longer than the initial buffer for an entry
    entry.append(":").append(home).append(":/bin/sh\n");
    ox::test::writeFile(password, entry);
    const ox::test::ChildResult result = run(ChildProcess{
        .program = "unshare",
        .arguments = {"--mount", "sh", "-c",
                      "mount --bind \"$0\" /etc/passwd && exec \"$1\" user:54321 support", password,
                      OX_PROBE},
        .environment = {{"XDG_DATA_HOME", std::nullopt}, {"HOME", std::nullopt}}});
    removeOne(password);
    if (result.output.empty()) {
      GTEST_SKIP() << "nothing can be mounted here";
    }
    EXPECT_EQ(result.output, support + "\n");
  }
}

TEST_F(SupportLocations, AreNullForGoodWithoutAnyHome) {
  OX_SKIP_UNLESS_ROOT("only root can become a user without an entry in the password database");
  const Environment homeless = {{"XDG_DATA_HOME", std::nullopt}, {"HOME", std::nullopt}};
  EXPECT_EQ(probe({"user:54321", "support", "setenv:HOME=" + work(), "support", "codecs", "rar"},
                  homeless),
            Lines(4, "(null)"));
  EXPECT_EQ(probe({"user:54321", "rar", "race"}, homeless), Lines(2, "(null)"));
}

}  // namespace

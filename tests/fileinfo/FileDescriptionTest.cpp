// SPDX-License-Identifier: MIT

// Kinds of documents. A process looks up the database and the language once, so every row runs in
// its own process, with a database made by the test.

#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "OrvexKit/OXFileUtil.h"
#include "support/ChildProcess.h"
#include "support/Emulator.h"
#include "support/LongText.h"
#include "support/TemporaryFolder.h"

namespace {

using Lines = std::vector<std::string>;
using Environment = std::vector<std::pair<std::string, std::optional<std::string>>>;

class FileDescription : public ox::test::TemporaryFolderTest {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(in("mime/application"));
    ox::test::writeFile(in("mime/globs2"),
                        "50:application/x-ox-package:*.oxp\n"
                        "50:application/x-ox-squeezed:*.gz\n"
                        "60:application/x-ox-squeezed-tape:*.tar.gz\n"
                        "50:application/x-ox-nameless:*.oxn\n");
    addKind("x-ox-package",
            "<comment>Ox package</comment>"
            "<comment xml:lang=\"de\">Ochsenpaket \xc3\xa4</comment>");
    addKind("x-ox-squeezed", "<comment>Squeezed file</comment>");
    addKind("x-ox-squeezed-tape", "<comment>Squeezed tape</comment>");
  }

  void TearDown() override {
    std::filesystem::remove_all(in("mime"));
    TemporaryFolderTest::TearDown();
  }

  // Uses only the test's database, and English, unless `changes` overrides it.
  Lines kindsOf(const Lines& paths, const Environment& changes = {}) const {
    Environment environment = {{"XDG_DATA_HOME", in("none")}, {"XDG_DATA_DIRS", work()},
                               {"LANGUAGE", std::nullopt},    {"LC_ALL", std::nullopt},
                               {"LC_MESSAGES", std::nullopt}, {"LANG", "C"}};
    environment.insert(environment.end(), changes.begin(), changes.end());
    Lines steps;
    for (const std::string& path : paths) {
      steps.push_back("kind:" + path);
    }
    return ox::test::linesOf({.program = OX_PROBE, .arguments = steps, .environment = environment});
  }

 private:
  void addKind(const std::string& name, const std::string& comments) const {
    ox::test::writeFile(in("mime/application/" + name + ".xml"),
                        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                        "<mime-type xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\""
                        " type=\"application/" +
                            name + "\">" + comments + "</mime-type>\n");
  }
};

TEST_F(FileDescription, GoesByTheExtensionAlone) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"x.oxp", "Ox package"},
      {"/v/photos.oxp", "Ox package"},
      {"/missing/x.oxp//", "Ox package"},
      {"x.OXP", "Ox package"},
      {"x.zip.oxp", "Ox package"},
      {"x.tar.gz", "Squeezed file"},
      {".tar.gz", "Squeezed file"},
      {"x.oxn", "application/x-ox-nameless type"},  // GIO's text for a kind without one
      {"x.oxp.unheard-of", ""},
      {"oxp", ""},
      {".oxp", ""},
      {"x.", ""},
      {"x", ""},
      {"", ""},
      {"/", ""},
      {"..", ""},
      {"x.oxp/y", ""},
      {"x.*", ""},
      {"x.oxp ", ""},
      {"x.\xff", ""},
      {"x.oxp\xf0", ""},
      {"x.\xf0\x9f", ""},
      {"x." + std::string(10000, 'o'), ""},
  };
  Lines paths;
  Lines kinds;
  for (const auto& [path, kind] : rows) {
    paths.push_back(path);
    kinds.push_back(kind);
  }
  EXPECT_EQ(kindsOf(paths), kinds);
}

TEST_F(FileDescription, IsNullForNullAlone) {
  EXPECT_EQ(OXFileUtilAdditions::fileDescription(std::nullopt), std::nullopt);
  EXPECT_EQ(OXFileUtilAdditions::fileDescription("README"), "");
  EXPECT_EQ(OXFileUtilAdditions::fileDescription(std::string("x.zip\0x", 7)), "");
}

TEST_F(FileDescription, DoesNotLookAtTheFile) {
  // A folder, and a file whose contents are of another kind.
  std::filesystem::create_directory(in("folder.oxp"));
  ox::test::writeFile(in("script.oxp"), "#!/bin/sh\n");
  EXPECT_EQ(kindsOf({in("folder.oxp"), in("script.oxp")}), (Lines{"Ox package", "Ox package"}));
  ox::test::removeOne(in("folder.oxp"));
  ox::test::removeOne(in("script.oxp"));
}

TEST_F(FileDescription, IsInTheUsersLanguage) {
  const std::string german = "Ochsenpaket \xc3\xa4";
  const std::vector<std::pair<Environment, std::string>> rows = {
      {{{"LANG", "de_DE.UTF-8"}}, german},
      {{{"LANG", "de_AT.ISO-8859-1"}}, german},
      {{{"LC_MESSAGES", "de_DE.UTF-8"}}, german},
      {{{"LC_ALL", "de_DE.UTF-8"}}, german},
      {{{"LANG", "en_US.UTF-8"}, {"LANGUAGE", "fr:de"}}, german},
      {{{"LANG", "fr_FR.UTF-8"}}, "Ox package"},
      {{{"LC_ALL", "C"}, {"LANG", "de_DE.UTF-8"}}, "Ox package"},
  };
  for (const auto& [environment, kind] : rows) {
    SCOPED_TRACE(testing::PrintToString(environment));
    EXPECT_EQ(kindsOf({"x.oxp"}, environment), Lines{kind});
  }
}

TEST_F(FileDescription, IsEmptyWithoutADatabase) {
  EXPECT_EQ(kindsOf({"x.oxp", "x.zip"}, {{"XDG_DATA_DIRS", in("none")}}), (Lines{"", ""}));
}

TEST_F(FileDescription, IsEmptyWithoutGio) {
  EXPECT_EQ(ox::test::linesOf(
                {.program = OX_INNER_PROBE,
                 .arguments = {"fail-dlopen:on", "kind:x.oxp", "fail-dlopen:off", "kind:x.oxp"},
                 .environment = {{"XDG_DATA_DIRS", work()}, {"LC_ALL", "C"}}}),
            (Lines{"", "Ox package"}));
}

TEST_F(FileDescription, IsFoundWithoutThreadsAndDaemons) {
  EXPECT_EQ(ox::test::linesOf({.program = OX_PROBE,
                               .arguments = {"kind:x.oxp", "threads", "sockets"},
                               .environment = {{"XDG_DATA_DIRS", work()}, {"LC_ALL", "C"}}}),
            (Lines{"Ox package", ox::test::ownThreads, "0"}));
}

TEST_F(FileDescription, IsTheSameForThreadsThatAskFirstAtTheSameMoment) {
  EXPECT_EQ(ox::test::linesOf({.program = OX_PROBE,
                               .arguments = {"race-for-kinds:x.oxp"},
                               .environment = {{"XDG_DATA_DIRS", work()}, {"LC_ALL", "C"}}}),
            Lines{"Ox package"});
}

using LongPath = ox::test::LongText;

TEST_F(LongPath, IsTooMuchForTheMemory) {
  EXPECT_THROW(OXFileUtilAdditions::fileDescription(startingWith("x.")), std::bad_alloc);
}

}  // namespace

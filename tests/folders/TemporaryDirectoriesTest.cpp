// SPDX-License-Identifier: MIT

#include <OrvexKit/OXFileUtil.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

const LogLine nilBaseLine = libraryLine("Temp base dir is nil! Using /tmp/ as a fallback!");
const LogLine failureLine = libraryLine("mkstemp failed to generate a temp dir!");

class TemporaryDirectories : public TemporaryFolderTest {
 protected:
  TemporaryDirectories() { takeLogLines(); }
};

void expectNewPrivateFolder(const OXString& path, const std::string& base,
                            const std::string& namePattern) {
  ASSERT_TRUE(path);
  ASSERT_EQ(path->substr(0, base.size() + 1), base + "/") << *path;
  EXPECT_THAT(path->substr(base.size() + 1), MatchesRegex(namePattern));
  EXPECT_TRUE(isFolder(*path));
  EXPECT_THAT(listing(*path), IsEmpty());
  struct stat status {};
  ASSERT_EQ(::stat(path->c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

const std::string scratchName =
    "\\.orvx\\.[A-Za-z0-9][A-Za-z0-9][A-Za-z0-9][A-Za-z0-9]"
    "[A-Za-z0-9][A-Za-z0-9]";
const std::string uniqueName =
    "Vantrel\\.[A-Za-z0-9][A-Za-z0-9][A-Za-z0-9][A-Za-z0-9]"
    "[A-Za-z0-9][A-Za-z0-9]";

TEST_F(TemporaryDirectories, AreMadeInTheGivenFolder) {
  const std::vector<std::string> endings{"", "/", "//"};
  for (const std::string& ending : endings) {
    SCOPED_TRACE(ending);
    const OXString path = OXCreateTemporaryDirectoryInDir(work() + ending);
    expectNewPrivateFolder(path, work(), scratchName);
    removeOne(*path);
  }
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

TEST_F(TemporaryDirectories, HaveAsManyBytesAsTheirBaseNeeds) {
  const std::vector<std::string> names{"Grüße", "日本語のフォルダ", "\xff\xfe\x80", "a b\n"};
  for (const std::string& name : names) {
    SCOPED_TRACE(testing::PrintToString(name));
    const std::string base = in(name);
    std::filesystem::create_directory(base);
    const OXString path = OXCreateTemporaryDirectoryInDir(base);
    expectNewPrivateFolder(path, base, scratchName);
    removeOne(*path);
    removeOne(base);
  }
}

TEST_F(TemporaryDirectories, AreEachNew) {
  const OXString first = OXCreateTemporaryDirectory();
  const OXString second = OXCreateTemporaryDirectory();
  ASSERT_TRUE(first && second);
  EXPECT_NE(*first, *second);
  removeOne(*first);
  removeOne(*second);
}

TEST_F(TemporaryDirectories, OfANullBaseAreLoggedAndMadeInTmp) {
  const OXString path = OXCreateTemporaryDirectoryInDir(std::nullopt);
  expectNewPrivateFolder(path, "/tmp", scratchName);
  EXPECT_THAT(takeLogLines(), ElementsAre(nilBaseLine));
  removeOne(*path);
}

TEST_F(TemporaryDirectories, OfAnEmptyBaseAreMadeInTheCurrentFolder) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(work());
  const OXString path = OXCreateTemporaryDirectoryInDir("");
  std::filesystem::current_path(before);
  ASSERT_TRUE(path);
  EXPECT_THAT(*path, MatchesRegex(scratchName));
  removeOne(in(*path));
}

TEST_F(TemporaryDirectories, ThatCannotBeMadeAreLoggedAndNull) {
  writeFile(in("file"));
  const std::vector<std::string> bases{
      in("missing"),
      in("file"),
      work() + std::string("\0", 1),
      in(std::string(5000, 'a')),
  };
  for (const std::string& base : bases) {
    SCOPED_TRACE(testing::PrintToString(base));
    EXPECT_EQ(OXCreateTemporaryDirectoryInDir(base), std::nullopt);
    EXPECT_THAT(takeLogLines(), ElementsAre(failureLine));
  }
  removeOne(in("file"));
}

TEST_F(TemporaryDirectories, InAFolderThatIsNotWritableAreLoggedAndNull) {
  OX_SKIP_AS_ROOT();
  ASSERT_EQ(::chmod(work().c_str(), 0500), 0);
  EXPECT_EQ(OXCreateTemporaryDirectoryInDir(work()), std::nullopt);
  EXPECT_THAT(takeLogLines(), ElementsAre(failureLine));
  ASSERT_EQ(::chmod(work().c_str(), 0700), 0);
}

TEST_F(TemporaryDirectories, OfTheUserAreMadeInTheTemporaryFolder) {
  const OXString path = OXCreateTemporaryDirectory();
  expectNewPrivateFolder(path, tmp(), scratchName);
  removeOne(*path);
}

TEST_F(TemporaryDirectories, LookForTheTemporaryFolderAtEachCall) {
  const ScopedEnvironment elsewhere("TMPDIR", work() + "/");
  const OXString path = OXCreateTemporaryDirectory();
  expectNewPrivateFolder(path, work(), scratchName);
  removeOne(*path);
}

TEST_F(TemporaryDirectories, HaveAbsolutePathsInARelativeTemporaryFolder) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::create_directory(in("sub"));
  std::filesystem::current_path(work());
  for (const auto& [value, base] : {std::pair<std::string, std::string>{"sub", in("sub")},
                                    {"sub/", in("sub")},
                                    {"./sub", in("./sub")},
                                    {".", in(".")}}) {
    SCOPED_TRACE(value);
    const ScopedEnvironment relative("TMPDIR", value);
    const OXString scratch = OXCreateTemporaryDirectory();
    expectNewPrivateFolder(scratch, base, scratchName);
    removeOne(*scratch);
    const OXString unique = OXCreateUniqueTempDir();
    expectNewPrivateFolder(unique, base, uniqueName);
    removeOne(*unique);
  }
  const ScopedEnvironment relative("TMPDIR", "missing/");
  EXPECT_EQ(OXCreateUniqueTempDir(), in("missing/")) << "the temporary folder itself";
  EXPECT_EQ(OXCreateTemporaryDirectory(), std::nullopt);
  std::filesystem::current_path(before);
  removeOne(in("sub"));
}

TEST_F(TemporaryDirectories, AreMadeInTmpWhenNoneIsNamed) {
  for (const std::optional<std::string>& none : {std::optional<std::string>(), {""}}) {
    const ScopedEnvironment unnamed("TMPDIR", none);
    const OXString scratch = OXCreateTemporaryDirectory();
    expectNewPrivateFolder(scratch, "/tmp", scratchName);
    removeOne(*scratch);
    const OXString unique = OXCreateUniqueTempDir();
    expectNewPrivateFolder(unique, "/tmp", uniqueName);
    removeOne(*unique);
  }
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

TEST_F(TemporaryDirectories, ThatAreVisibleAreMadeInTheTemporaryFolder) {
  for (const std::string ending : {"", "/"}) {
    const ScopedEnvironment temporary("TMPDIR", tmp() + ending);
    const OXString path = OXCreateUniqueTempDir();
    expectNewPrivateFolder(path, tmp(), uniqueName);
    removeOne(*path);
  }
}

TEST_F(TemporaryDirectories, ThatAreVisibleFallBackToTheTemporaryFolderInSilence) {
  const std::vector<std::string> bases{in("missing"), in("missing") + "/"};
  for (const std::string& base : bases) {
    const ScopedEnvironment temporary("TMPDIR", base);
    EXPECT_EQ(OXCreateUniqueTempDir(), base);
  }
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

}  // namespace

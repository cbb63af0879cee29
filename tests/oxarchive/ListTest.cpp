// `oxarchive list`: the worker process that opens the archive, and the table that comes of it.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "OxarchiveTest.h"

namespace {

using namespace ox::test;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class List : public OxarchiveTest {
 protected:
  ProgramResult list(const std::string& archive) const { return oxarchive({"list", in(archive)}); }

  // With a shell script in the worker's place.
  ProgramResult listWithWorker(const std::string& script) {
    writeFile(in("worker"), "#!/bin/sh\n" + script + "\n");
    EXPECT_EQ(::chmod(in("worker").c_str(), 0755), 0);
    const ScopedEnvironment worker("OXARCHIVE_WORKER", in("worker"));
    ProgramResult result = oxarchive({"list", in("any.zip")});
    removeOne(in("worker"));
    return result;
  }
};

const std::string header = "Flags          Size  Path\n";

const std::vector<Item> items{folder("docs"), file("docs/a b.txt", "12345"),
                              file("big", std::string(123456, 'x')), symbolicLink("link", "docs")};

const std::string table = header +
                          "d-                0  docs\n"
                          "--                5  docs/a b.txt\n"
                          "--           123456  big\n"
                          "--                0  link\n";

TEST_F(List, TellsFlagsSizesAndPaths) {
  writeArchive(in("plain.tar"), items);
  writeArchive(in("photos.tar.gz"), items, {.filter = ::archive_write_add_filter_gzip});
  for (const std::string archive : {"plain.tar", "photos.tar.gz"}) {
    SCOPED_TRACE(archive);
    const ProgramResult result = list(archive);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, table);
    EXPECT_EQ(result.errors, "");
  }
  remove({"plain.tar", "photos.tar.gz"});
}

TEST_F(List, MarksWhatIsEncrypted) {
  writeArchive(in("secret.zip"), {file("secret", "12345")},
               {.format = ::archive_write_set_format_zip,
                .options = "zip:encryption=zipcrypt",
                .passphrase = "password"});
  const ProgramResult result = list("secret.zip");
  EXPECT_THAT(result.output, HasSubstr("\n-e "));
  remove({"secret.zip"});
}

TEST_F(List, ShowsNothingThatSteersATerminal) {
  writeArchive(in("hostile.tar"), {file("a\x1b[2Jb"), file("line\nbreak"), file("../../up")});
  const ProgramResult result = list("hostile.tar");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.output, AllOf(HasSubstr("  a\\x1b[2Jb\n"), HasSubstr("  line\\x0abreak\n"),
                                   HasSubstr("  ../../up\n")));
  remove({"hostile.tar"});
}

TEST_F(List, KeepsNamesThatAreNotUtf8Apart) {
  writeArchive(in("bytes.tar"), {file("\xff\x80")});
  EXPECT_EQ(list("bytes.tar").output, header + "--                8  \\xff\\x80\n");
  remove({"bytes.tar"});
}

TEST_F(List, LeavesOutTheRootOfTheArchive) {
  writeArchive(in("root.tar"), {folder("/"), folder("./"), file("./a")});
  const ProgramResult result = list("root.tar");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.output, header + "d-                0  .\n" + "--                8  ./a\n");
  remove({"root.tar"});
}

TEST_F(List, OfManyEntriesIsWhole) {
  std::vector<Item> many;
  for (int i = 0; i < 20000; ++i) {
    many.push_back(file("folder/file number " + std::to_string(i), ""));
  }
  writeArchive(in("many.tar"), many);
  const ProgramResult result = list("many.tar");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(std::ranges::count(result.output, '\n'), 20001);
  EXPECT_THAT(result.output, EndsWith("  folder/file number 19999\n"));
  remove({"many.tar"});
}

TEST_F(List, OfADamagedArchiveIsToldToBeIncomplete) {
  writeArchive(in("cut.tar"), items);
  std::filesystem::resize_file(in("cut.tar"), 2048 + 700);
  const ProgramResult result = list("cut.tar");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.output, StartsWith(header + "d-                0  docs\n"));
  EXPECT_THAT(result.errors, AllOf(HasSubstr("cut.tar"), HasSubstr("the listing is incomplete")));
  remove({"cut.tar"});
}

TEST_F(List, OfWhatIsNoArchiveFails) {
  writeFile(in("text.zip"), "just text");
  writeFile(in("empty.zip"));
  for (const std::string name : {"text.zip", "empty.zip", "missing.zip"}) {
    SCOPED_TRACE(name);
    const ProgramResult result = list(name);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, HasSubstr(name));
  }
  remove({"text.zip", "empty.zip"});
}

TEST_F(List, ReadsAnArchiveWhateverItIsCalled) {
  writeArchive(in("--help"), {file("a")});
  const ProgramResult result = oxarchive({"list", "--", "--help"}, {.folder = work()});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.output, header + "--                8  a\n");
  remove({"--help"});
}

struct WorkerRow {
  std::string script;
  std::string message;
};

const WorkerRow badWorkers[] = {
    {"echo rubbish", "stopped within an entry; the listing is incomplete"},
    {"printf '\\377'", "sent something that is no listing"},
    // A data item that is no record, an empty record, a record of another kind, one with no path.
    {"printf '\\001'", "sent something that is no listing"},
    {"printf '\\240'", "sent something that is no listing"},
    {"printf '\\241\\144path\\001'", "sent something that is no listing"},
    {"printf '\\241\\144path\\140'", "sent something that is no listing"},
    // More than an item may have.
    {"printf '\\132\\377\\377\\377\\377'; exec sleep 100", "sent something that is no listing"},
    {"printf '\\241\\144pa'", "stopped within an entry; the listing is incomplete"},
    {"exit 1", "not all of it could be read; the listing is incomplete"},
    {"exit 3", "not all of it could be read; the listing is incomplete"},
    {"kill -9 $$", "ended by signal 9; the listing is incomplete"},
    {"printf '\\241\\144pa'; kill -9 $$", "ended by signal 9; the listing is incomplete"},
    {"printf '\\241\\144path\\141a'; kill -15 $$", "ended by signal 15; the listing is incomplete"},
};

TEST_F(List, SurvivesAWorkerThatDiesOrSendsRubbish) {
  for (const WorkerRow& row : badWorkers) {
    SCOPED_TRACE(row.script);
    const ProgramResult result = listWithWorker(row.script);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.signal, 0);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("any.zip"), HasSubstr(row.message)));
  }
}

TEST_F(List, ShowsWhatCameBeforeTheWorkerDied) {
  const ProgramResult result = listWithWorker("printf '\\241\\144path\\141a'; kill -9 $$");
  EXPECT_EQ(result.output, header + "--                0  a\n");
}

TEST_F(List, FailsWhenNoWorkerCanBeStarted) {
  const ScopedEnvironment worker("OXARCHIVE_WORKER", in("missing"));
  const ProgramResult result = oxarchive({"list", in("any.zip")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errors, HasSubstr("cannot start a process"));
}

TEST_F(List, TakesOneArchive) {
  const std::vector<std::vector<std::string>> rows{
      {"list"},      {"list", ""},  {"list", "a.zip", "b.zip"}, {"list", "--into", "d", "a.zip"},
      {"list", "-"}, {"list", "--"}};
  for (const std::vector<std::string>& arguments : rows) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const ProgramResult result = oxarchive(arguments);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, HasSubstr("--help"));
  }
}

}  // namespace

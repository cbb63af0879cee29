// SPDX-License-Identifier: MIT

// `oxarchive list`: the worker process that opens the archive, and the printed table.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "OxarchiveTest.h"
#include "support/Locales.h"

namespace {

using namespace ox::test;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class List : public OxarchiveTest {
 protected:
  // Uses the test's own database of kinds, if it makes one, English, and a fixed time zone.
  List()
      : dataFolders_("XDG_DATA_DIRS", in("data")),
        dataHome_("XDG_DATA_HOME", in("none")),
        language_("LANGUAGE", std::nullopt),
        locale_("LC_ALL", "C"),
        zone_("TZ", "UTC") {}

  ProgramResult list(const std::string& archive) const { return oxarchive({"list", in(archive)}); }

  // With a shell script as the worker.
  ProgramResult listWithWorker(const std::string& script, const std::string& option = "--") {
    writeFile(in("worker"), "#!/bin/sh\n" + script + "\n");
    EXPECT_EQ(::chmod(in("worker").c_str(), 0755), 0);
    const ScopedEnvironment worker("OXARCHIVE_WORKER", in("worker"));
    ProgramResult result = oxarchive({"list", option, in("any.zip")});
    removeOne(in("worker"));
    return result;
  }

 private:
  ScopedEnvironment dataFolders_;
  ScopedEnvironment dataHome_;
  ScopedEnvironment language_;
  ScopedEnvironment locale_;
  ScopedEnvironment zone_;
};

const std::string header =
    "Flags      Size  Modified               Kind                      Path\n";

// The row of an entry with the tests' default time.
std::string row(const std::string& flags, const std::string& size, const std::string& kind,
                const std::string& path) {
  return flags + "   " + std::string(10 - size.size(), ' ') + size + "  Sep 09, 2001 01:46 AM  " +
         kind + std::string(24 - kind.size(), ' ') + "  " + path + "\n";
}

const std::vector<Item> listedItems{folder("docs"), file("docs/a b.txt", "12345"),
                                    file("big", std::string(123456, 'x')),
                                    symbolicLink("link", "docs")};

const std::string table = header + row("d-", "0 B", "Folder", "docs") +
                          row("--", "5 B", "File", "docs/a b.txt") +
                          row("--", "123.5 KB", "File", "big") + row("--", "0 B", "File", "link") +
                          "Total: 4 entries, 123.5 KB\n";

TEST_F(List, TellsFlagsSizesTimesKindsAndPaths) {
  writeArchive(in("plain.tar"), listedItems);
  writeArchive(in("photos.tar.gz"), listedItems, {.filter = ::archive_write_add_filter_gzip});
  for (const std::string archive : {"plain.tar", "photos.tar.gz"}) {
    SCOPED_TRACE(archive);
    const ProgramResult result = list(archive);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, table);
    EXPECT_EQ(result.errors, "");
  }
  remove({"plain.tar", "photos.tar.gz"});
}

TEST_F(List, TellsKindsByTheSharedDatabase) {
  ASSERT_TRUE(std::filesystem::create_directories(in("data/mime/application")));
  writeFile(in("data/mime/globs2"),
            "50:application/x-short:*.short\n50:application/x-long:*.long\n"
            "50:application/x-wide:*.wide\n");
  const auto addKind = [&](const std::string& name, const std::string& comment) {
    writeFile(in("data/mime/application/" + name + ".xml"),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<mime-type xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\" "
              "type=\"application/" +
                  name + "\"><comment>" + comment + "</comment></mime-type>\n");
  };
  addKind("x-short", "Short kind");
  addKind("x-long", "Kind that is longer than the column");
  // Each character takes two cells.
  addKind("x-wide", "日本");
  writeArchive(in("k.tar"),
               {file("a.short"), file("b.long"), file("c"), folder("d.short"), file("e.wide")});
  EXPECT_EQ(list("k.tar").output,
            header + row("--", "8 B", "Short kind", "a.short") +
                "--          8 B  Sep 09, 2001 01:46 AM  Kind that is longer tha…  b.long\n" +
                row("--", "8 B", "File", "c") + row("d-", "0 B", "Folder", "d.short") +
                "--          8 B  Sep 09, 2001 01:46 AM  日本" + std::string(20 + 2, ' ') +
                "e.wide\n" + "Total: 5 entries, 32 B\n");
  remove({"k.tar", "data"});
}

TEST_F(List, TellsTimesInTheZoneOfTheUser) {
  writeArchive(in("t.tar"), {file("a")});
  const ScopedEnvironment zone("TZ", "XYZ-2");
  EXPECT_THAT(list("t.tar").output, HasSubstr("  Sep 09, 2001 03:46 AM  "));
  remove({"t.tar"});
}

TEST_F(List, CountsHoursTo24WhereTheDayHasNoHalves) {
  Item morning = file("morning");
  Item evening = file("evening");
  evening.modified += std::time_t{12} * 3600;
  Item midnight = file("midnight");
  midnight.modified = 1'000'000'000 - 1 * 3600 - 46 * 60;
  writeArchive(in("t.tar"), {morning, evening, midnight});
  const Locales locales(work());
  if (!locales.make("de_DE", "UTF-8")) {
    GTEST_SKIP() << "there are no sources of locales here";
  }
  std::vector<std::unique_ptr<ScopedEnvironment>> environment;
  for (const auto& [name, value] : locales.environment("de_DE.UTF-8")) {
    environment.push_back(std::make_unique<ScopedEnvironment>(name, value));
  }
  const std::string output = list("t.tar").output;
  EXPECT_THAT(output, HasSubstr("  Sep 09, 2001 01:46     "));
  EXPECT_THAT(output, HasSubstr("  Sep 09, 2001 13:46     "));
  EXPECT_THAT(output, HasSubstr("  Sep 09, 2001 00:00     "));
  remove({"t.tar"});
}

TEST_F(List, OfAnEmptyArchiveHasTotals) {
  writeArchive(in("empty.tar"), {});
  const ProgramResult result = list("empty.tar");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.output, "Total: 0 entries, 0 B\n");
  remove({"empty.tar"});
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
  EXPECT_EQ(list("bytes.tar").output,
            header + row("--", "8 B", "File", "\\xff\\x80") + "Total: 1 entry, 8 B\n");
  remove({"bytes.tar"});
}

TEST_F(List, LeavesOutTheRootOfTheArchive) {
  writeArchive(in("root.tar"), {folder("/"), folder("./"), file("./a")});
  const ProgramResult result = list("root.tar");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.output, header + row("d-", "0 B", "Folder", ".") +
                               row("--", "8 B", "File", "./a") + "Total: 2 entries, 8 B\n");
  remove({"root.tar"});
}

TEST_F(List, AnEntryWithoutANameIsTold) {
  // It is marked as Unicode, but is not.
  writeArchive(in("n.zip"), {file("f"), file("\xff\xfe"), file("g")},
               {.format = ::archive_write_set_format_zip});
  const ProgramResult result = list("n.zip");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, header + row("--", "8 B", "File", "f") + row("--", "8 B", "File", "g") +
                               "Total: 2 entries, 16 B (incomplete)\n");
  EXPECT_THAT(result.errors,
              AllOf(StartsWith("oxarchive: " + in("n.zip") + ": entry 2: it has no name"),
                    EndsWith("oxarchive: " + in("n.zip") +
                             ": not all of it could be read; the listing is incomplete\n")));
  remove({"n.zip"});
}

TEST_F(List, OfManyEntriesIsWhole) {
  std::vector<Item> many;
  many.reserve(20000);
  for (int i = 0; i < 20000; ++i) {
    many.push_back(file("folder/file number " + std::to_string(i), ""));
  }
  writeArchive(in("many.tar"), many);
  const ProgramResult result = list("many.tar");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(std::ranges::count(result.output, '\n'), 20002);
  EXPECT_THAT(result.output, EndsWith("  folder/file number 19999\nTotal: 20000 entries, 0 B\n"));
  remove({"many.tar"});
}

TEST_F(List, OfADamagedArchiveIsToldToBeIncomplete) {
  writeArchive(in("cut.tar"), listedItems);
  std::filesystem::resize_file(in("cut.tar"), 2048 + 700);
  const ProgramResult result = list("cut.tar");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.output, AllOf(StartsWith(header + row("d-", "0 B", "Folder", "docs")),
                                   EndsWith("\nTotal: 3 entries, 123.5 KB (incomplete)\n")));
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
  EXPECT_EQ(result.output, header + row("--", "8 B", "File", "a") + "Total: 1 entry, 8 B\n");
  remove({"--help"});
}

struct WorkerRow {
  std::string script;
  std::string message;
};

const WorkerRow badWorkers[] = {
    {"echo rubbish", "stopped in the middle of an entry; the listing is incomplete"},
    {"printf '\\377'", "sent something other than a listing"},
    // A data item that is not a record, an empty record, a record of another kind, one without a
    // path.
    {"printf '\\001'", "sent something other than a listing"},
    {"printf '\\240'", "sent something other than a listing"},
    {"printf '\\241\\144path\\001'", "sent something other than a listing"},
    {"printf '\\241\\144path\\140'", "sent something other than a listing"},
    // Larger than the limit of an item.
    {"printf '\\132\\377\\377\\377\\377'; exec sleep 100", "sent something other than a listing"},
    {"printf '\\241\\144pa'", "stopped in the middle of an entry; the listing is incomplete"},
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
  EXPECT_EQ(result.output, header + "--          0 B  -                      File" +
                               std::string(22, ' ') + "a\nTotal: 1 entry, 0 B (incomplete)\n");
}

TEST_F(List, AWorkerWhosePipeIsClosedIsEnded) {
  EXPECT_THAT(listWithWorker("kill -PIPE $$; exit 0").errors,
              HasSubstr("ended by signal 13; the listing is incomplete"));
}

TEST_F(List, FailsWhenNoWorkerCanBeStarted) {
  const ScopedEnvironment worker("OXARCHIVE_WORKER", in("missing"));
  const ProgramResult result = oxarchive({"list", in("any.zip")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errors, HasSubstr("cannot start a process"));
}

TEST_F(List, OfSeveralArchivesNamesEach) {
  writeArchive(in("a.tar"), {file("a")});
  writeArchive(in("b.tar"), {file("b")});
  const ProgramResult result =
      oxarchive({"list", "a.tar", "missing\x1b.tar", "b.tar"}, {.folder = work()});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, "a.tar:\n" + header + row("--", "8 B", "File", "a") +
                               "Total: 1 entry, 8 B\n\nmissing\\x1b.tar:\n\nb.tar:\n" + header +
                               row("--", "8 B", "File", "b") + "Total: 1 entry, 8 B\n");
  EXPECT_EQ(result.errors,
            "oxarchive: missing\\x1b.tar: it cannot be opened: No such file or directory\n");
  remove({"a.tar", "b.tar"});
}

TEST_F(List, TellsDetails) {
  const ScopedEnvironment zone("TZ", "XYZ-2:30");
  Item old = file("old", "12345");
  old.modified = -1;
  old.permissions = 06750;
  writeArchive(in("a.tar"), {folder("d", 01777), old, symbolicLink("l\n", "../\x1b"),
                             hardLink("h", "old"), file("big", noise(100'000))});
  const ProgramResult result = oxarchive({"list", "--long", in("a.tar")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  const std::string time = "2001-09-09T04:16:40+02:30";
  EXPECT_EQ(result.output,
            "Flags  Mode                  Size  Modified                   Path\n"
            "d-     drwxrwxrwt               0  " +
                time +
                "  d\n"
                "--     -rwsr-s---               5  1970-01-01T02:29:59+02:30  old\n"
                "--     lrwxrwxrwx               0  " +
                time +
                "  l\\x0a -> ../\\x1b\n"
                "--     -rw-r--r--               0  " +
                time +
                "  h link to old\n"
                "--     -rw-r--r--          100000  " +
                time +
                "  big\n"
                "Total: 5 entries, 100 KB\n");
  remove({"a.tar"});
}

TEST_F(List, TellsNoDetailsThatAWorkerDoesNotKnow) {
  writeFile(in("worker"), "#!/bin/sh\nprintf '\\241\\144path\\141a'\n");
  ASSERT_EQ(::chmod(in("worker").c_str(), 0755), 0);
  const ScopedEnvironment worker("OXARCHIVE_WORKER", in("worker"));
  EXPECT_EQ(oxarchive({"list", "--long", in("any.zip")}).output,
            "Flags  Mode                  Size  Modified                   Path\n"
            "--     ?---------               0  -                          a\n"
            "Total: 1 entry, 0 B\n");
  remove({"worker"});
}

// The records as decoded by another CBOR library, one per line.
TEST_F(List, PassesItsRecordsOnToOtherPrograms) {
  writeArchive(in("a.tar"), {folder("docs"), file("docs/\xff", "12345")});
  writeArchive(in("b.tar"), {symbolicLink("link", "docs")});
  writeFile(in("read.py"),
            "import cbor2, sys\n"
            "decoder = cbor2.CBORDecoder(sys.stdin.buffer)\n"
            "while sys.stdin.buffer.peek(1):\n"
            "    r = decoder.decode()\n"
            "    print(r['path'], r['fileId'], r['actualSize'], r['isFolder'], oct(r['mode']),\n"
            "          int(r['mtime'].timestamp()), r.get('linkTarget'))\n");
  const ProgramResult result = runProgram(
      "/bin/sh",
      {"-c", "\"$0\" list --cbor a.tar b.tar | /usr/bin/python3 read.py", OXARCHIVE_PROGRAM},
      {.folder = work()});
  EXPECT_EQ(result.errors, "") << "python3-cbor2 of Debian has to be installed";
  EXPECT_EQ(result.output,
            "docs 1 0 True 0o40755 1000000000 None\n"
            "b'docs/\\xff' 2 5 False 0o100644 1000000000 None\n"
            "link 1 0 False 0o120777 1000000000 docs\n");
  remove({"a.tar", "b.tar", "read.py"});
}

TEST_F(List, PassesOnRecordsAlone) {
  writeArchive(in("a.tar"), {folder("docs")});
  const ProgramResult good = oxarchive({"list", "--cbor", in("a.tar")});
  EXPECT_EQ(good.exitCode, 0);
  EXPECT_TRUE(
      good.output.starts_with("\xa9\x64path\x64"
                              "docs"));
  EXPECT_EQ(oxarchive({"list", "--cbor", in("missing.tar")}).output, "");
  const ProgramResult bad = listWithWorker("printf '\\241\\144path\\141a\\001'", "--cbor");
  EXPECT_EQ(bad.exitCode, 1);
  EXPECT_EQ(bad.output,
            "\xa1\x64path\x61"
            "a");
  EXPECT_THAT(bad.errors, HasSubstr("sent something other than a listing"));
  remove({"a.tar"});
}

TEST_F(List, TakesArchivesAlone) {
  const std::vector<std::vector<std::string>> rows{
      {"list"},      {"list", ""},  {"list", "a.zip", ""}, {"list", "--into", "d", "a.zip"},
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

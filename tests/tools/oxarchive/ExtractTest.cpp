// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "OxarchiveTest.h"
#include "RarWriter.h"
#include "support/Sanitizers.h"

namespace {

using namespace ox::test;

class Extract : public OxarchiveTest {
 protected:
  // Extracts an archive in `work()` and expects no messages.
  void extractWell(const std::string& archive, const std::string& folder,
                   const std::vector<Item>& items) {
    const ProgramResult result = oxarchive({"extract", in(archive)});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, resultLine(archive, folder, items.size(), bytesOf(items)));
    EXPECT_EQ(treeOf(in(folder)), treeOf(items));
  }
};

struct FormatRow {
  std::string archive;
  std::string folder;
  ArchiveFormat format;
  ArchiveFilter filter;
};

constexpr ArchiveFormat pax = ::archive_write_set_format_pax_restricted;

const FormatRow formatRows[] = {
    {"photos.tar", "photos", pax, noFilter},
    {"photos.tar.gz", "photos", pax, ::archive_write_add_filter_gzip},
    {"X.TAR.GZ", "X", pax, ::archive_write_add_filter_gzip},
    {"photos.Tar.bz2", "photos", pax, ::archive_write_add_filter_bzip2},
    {"photos.tgz", "photos", ::archive_write_set_format_gnutar, ::archive_write_add_filter_gzip},
    {"photos.tar.xz", "photos", ::archive_write_set_format_ustar, ::archive_write_add_filter_xz},
    {"photos.tar.lzma", "photos", pax, ::archive_write_add_filter_lzma},
    {"photos.tar.lz", "photos", pax, ::archive_write_add_filter_lzip},
    {"photos.tar.zst", "photos", pax, ::archive_write_add_filter_zstd},
    {"photos.tar.lz4", "photos", pax, ::archive_write_add_filter_lz4},
    {"photos.tar.Z", "photos", pax, ::archive_write_add_filter_compress},
    {"photos.cpio", "photos", ::archive_write_set_format_cpio_newc, noFilter},
    {"photos.cpio.gz", "photos.cpio", ::archive_write_set_format_cpio_newc,
     ::archive_write_add_filter_gzip},
    {"photos.zip", "photos", ::archive_write_set_format_zip, noFilter},
    {"photos.7z", "photos", ::archive_write_set_format_7zip, noFilter},
    {"photos.xar", "photos", ::archive_write_set_format_xar, noFilter},
    {"my.photos.2024.zip", "my.photos.2024", ::archive_write_set_format_zip, noFilter},
    {"Tool.app.zip", "Tool", ::archive_write_set_format_zip, noFilter},
    {"Tool.app.tar.gz", "Tool", pax, ::archive_write_add_filter_gzip},
    {"Tool.app.pkg.zip", "Tool", ::archive_write_set_format_zip, noFilter},
    {"Tool.APP", "Tool", ::archive_write_set_format_zip, noFilter},
    {"tar.gz", "tar", pax, ::archive_write_add_filter_gzip},
    {"a b\xc3\xa4.zip", "a b\xc3\xa4", ::archive_write_set_format_zip, noFilter},
    // The name without an extension is the archive's own, so it is taken.
    {"photos", "photos (1)", pax, noFilter},
    {".zip", ".zip (1)", ::archive_write_set_format_zip, noFilter},
};

TEST_F(Extract, EveryFormatIntoAFolderOfItsName) {
  for (const FormatRow& row : formatRows) {
    SCOPED_TRACE(row.archive);
    const std::vector<Item> items = someItems();
    writeArchive(in(row.archive), items, {.format = row.format, .filter = row.filter});
    extractWell(row.archive, row.folder, items);
    remove({row.archive, row.folder});
  }
}

TEST_F(Extract, AnIsoImage) {
  writeArchive(
      in("disc.iso"), someItems(),
      {.format = ::archive_write_set_format_iso9660, .filter = ::archive_write_add_filter_none});
  const ProgramResult result = oxarchive({"extract", in("disc.iso")});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(treeOf(in("disc")), treeOf(someItems()));
  remove({"disc.iso", "disc"});
}

TEST_F(Extract, AnArArchive) {
  const std::vector<Item> items = {file("a.o", "object"), file("b.o", noise(3001))};
  writeArchive(in("libx.a"), items, {.format = ::archive_write_set_format_ar_svr4});
  extractWell("libx.a", "libx", items);
  remove({"libx.a", "libx"});
}

std::string littleEndian(std::size_t value, std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) {
    bytes += static_cast<char>(value >> (8 * i) & 0xFFU);
  }
  return bytes;
}

std::string crc16(const std::string& bytes) {
  unsigned crc = 0;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      crc = crc >> 1U ^ ((crc & 1U) != 0 ? 0xA001U : 0U);
    }
  }
  return littleEndian(crc, 2);
}

// An LHA archive with a stored file, whose name is in CP932.
std::string storedInLha(const std::string& name, const std::string& contents) {
  // A level 2 header, with records for its checksum, the name, and the name's character set.
  const std::string start = "-lh0-" + littleEndian(contents.size(), 4) +
                            littleEndian(contents.size(), 4) + littleEndian(1'000'000'000, 4) +
                            "\x20\x02" + crc16(contents) + "U" + littleEndian(5, 2) +
                            littleEndian(0, 1);
  const std::string rest = littleEndian(name.size() + 3, 2) + "\x01" + name + littleEndian(7, 2) +
                           "\x46" + littleEndian(932, 4) + littleEndian(0, 2);
  const std::string size = littleEndian(start.size() + rest.size() + 4, 2);
  const std::string sum = crc16(size + start + littleEndian(0, 2) + rest);
  return size + start + sum + rest + contents + '\0';
}

// A binary cpio archive of one file, as a machine of the other byte order writes it.
std::string withSwappedBytes(std::string cpio, const std::string& name) {
  const auto swapHeader = [&cpio](std::size_t start) {
    constexpr std::size_t headerSize = 26;
    for (std::size_t i = start; i < start + headerSize; i += 2) {
      std::swap(cpio[i], cpio[i + 1]);
    }
  };
  const std::size_t trailer = cpio.rfind("TRAILER!!!") - 26;
  EXPECT_EQ(cpio.find(name), 26U);
  swapHeader(0);
  swapHeader(trailer);
  return cpio;
}

TEST_F(Extract, AnArchiveInAnArchiveIsAFile) {
  writeArchive(in("in.zip"), {file("f")},
               {.format = ::archive_write_set_format_zip, .options = "compression=store"});
  writeArchive(in("in.tar"), {file("f")});
  for (const std::string inner : {"in.zip", "in.tar"}) {
    const std::string contents = readFile(in(inner));
    writeFile(in("x.rar4"), makeRarVolumes({{inner, contents}}, {.dataPerVolume = 100'000})[0]);
    writeFile(in("x.rar5"), makeRarVolumes({{inner, contents}},
                                           {.isNewFormat = true, .dataPerVolume = 100'000})[0]);
    writeFile(in("x.lzh"), storedInLha(inner, contents));
    for (const auto& [name, format] :
         std::map<std::string, ArchiveFormat>{{"x.7z", ::archive_write_set_format_7zip},
                                              {"x.tar", pax},
                                              {"x.cpio", ::archive_write_set_format_cpio_newc},
                                              {"x.bin.cpio", ::archive_write_set_format_cpio_bin},
                                              {"x.ar", ::archive_write_set_format_ar_svr4},
                                              {"x.zip", ::archive_write_set_format_zip}}) {
      writeArchive(in(name), {file(inner, contents)}, {.format = format});
    }
    writeFile(in("x.swapped.cpio"), withSwappedBytes(readFile(in("x.bin.cpio")), inner));
    for (const std::string name : {"x.rar4", "x.rar5", "x.lzh", "x.7z", "x.tar", "x.cpio",
                                   "x.bin.cpio", "x.swapped.cpio", "x.ar", "x.zip"}) {
      SCOPED_TRACE(testing::Message() << name << " with " << inner);
      const ProgramResult result = oxarchive({"extract", in(name), "--into", in("out")});
      EXPECT_EQ(result.exitCode, 0) << result.errors;
      const std::vector<std::string> made = listing(in("out"));
      ASSERT_EQ(made.size(), 2U);
      EXPECT_TRUE(treeOf(in("out/" + made.front())) == (Tree{{inner, "file " + contents}}));
      remove({name, "out"});
    }
  }
  remove({"in.zip", "in.tar"});
}

// Archives written by the programs that users have.
TEST_F(Extract, WhatOtherProgramsPack) {
  struct Row {
    std::string archive;
    std::string program;
    std::string command;
    bool isFlat = false;
  };
  const Row rows[] = {
      {"o.tar", "tar", "tar -cf o.tar -C t ."},
      {"o.tar.gz", "tar", "tar -czf o.tar.gz -C t ."},
      {"o.v7.tar", "tar", "tar --format=v7 -cf o.v7.tar -C t ."},
      {"o.pax", "bsdtar", "bsdtar --format pax -cf o.pax -C t ."},
      {"o.zip", "zip", "cd t && zip -qr ../o.zip ."},
      {"o.7z", "7zz", "cd t && 7zz a -bso0 -bsp0 ../o.7z ."},
      {"s.7z", "7zz", "cd t && 7zz a -bso0 -bsp0 -m0=PPMd -ms=on ../s.7z ."},
      {"s.zip", "7zz", "cd t && 7zz a -bso0 -bsp0 -mm=LZMA ../s.zip ."},
      {"o.cpio", "cpio", "cd t && find . | cpio --quiet -o -H newc > ../o.cpio"},
      {"b.cpio", "cpio", "cd t && find . | cpio --quiet -o -H odc > ../b.cpio"},
      {"o.iso", "xorriso", "xorriso -as mkisofs -quiet -R -J -o o.iso t 2>/dev/null"},
      {"o.cab", "gcab", "cd t && gcab -c -z ../o.cab one *with*", true},
      {"o.a", "ar", "cd t && ar rc ../o.a one *with*", true},
  };
  const std::string longName = "a name with \xc3\xa4 that is longer than others.txt";
  ASSERT_TRUE(std::filesystem::create_directories(in("t/d/e")));
  writeFile(in("t/one"), "1\n");
  writeFile(in("t/" + longName), noise(70'000));
  writeFile(in("t/d/e/f"), std::string(70'000, 'x'));
  const Tree whole = treeOf(in("t"));
  const Tree flat = {{"one", whole.at("one")}, {longName, whole.at(longName)}};
  std::string missing;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.command);
    if (findProgram({row.program}).empty()) {
      missing += " " + row.program;
      continue;
    }
    const ProgramResult packed = runProgram("sh", {"-c", row.command}, {.folder = work()});
    ASSERT_EQ(packed.exitCode, 0) << packed.errors;
    const ProgramResult result =
        oxarchive({"extract", row.archive, "--into", "x"}, {.folder = work()});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    ASSERT_TRUE(exists(in("x")));
    const std::string made = listing(in("x")).front();
    EXPECT_TRUE(treeOf(in("x/" + made)) == (row.isFlat ? flat : whole))
        << testing::PrintToString(listing(in("x")));
    EXPECT_EQ(oxarchive({"list", in(row.archive)}).exitCode, 0);
    remove({row.archive, "x"});
  }
  remove({"t"});
  if (!missing.empty()) {
    GTEST_SKIP() << "not tried, as these programs are not installed:" << missing;
  }
}

TEST_F(Extract, NamesOfOtherCharacterSets) {
  // U+30C6 in CP932.
  writeFile(in("n.lzh"), storedInLha("\x83\x65.txt", "contents"));
  const ProgramResult result = oxarchive({"extract", in("n.lzh")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(treeOf(in("n")), (Tree{{"\xe3\x83\x86.txt", "file contents"}}));
  remove({"n.lzh", "n"});
}

TEST_F(Extract, LinksInsideTheFolder) {
  const std::vector<Item> items = {folder("d/"),
                                   file("d/f", "one\n"),
                                   symbolicLink("here", "d/f"),
                                   symbolicLink("d/up", "../here"),
                                   symbolicLink("d/top", ".."),
                                   symbolicLink("nowhere", "missing"),
                                   hardLink("other", "d/f"),
                                   hardLink("here2", "here")};
  for (const ArchiveFormat format : {pax, ArchiveFormat(::archive_write_set_format_gnutar)}) {
    writeArchive(in("l.tar"), items, {.format = format});
    extractWell("l.tar", "l", items);
    struct stat one {};
    struct stat other {};
    EXPECT_EQ(::stat(in("l/d/f").c_str(), &one), 0);
    EXPECT_EQ(::stat(in("l/other").c_str(), &other), 0);
    EXPECT_EQ(one.st_ino, other.st_ino);
    remove({"l.tar", "l"});
  }
}

// One entry of a cpio archive, in its portable ASCII form.
std::string cpioEntry(const std::string& name, unsigned mode, unsigned linkCount,
                      const std::string& contents) {
  std::string entry = "070701";
  for (const std::size_t field :
       {std::size_t{7}, std::size_t{mode}, std::size_t{0}, std::size_t{0}, std::size_t{linkCount},
        std::size_t{1'000'000'000}, contents.size(), std::size_t{0}, std::size_t{3}, std::size_t{0},
        std::size_t{0}, name.size() + 1, std::size_t{0}}) {
    std::array<char, 9> digits{};
    static_cast<void>(std::snprintf(digits.data(), digits.size(), "%08zx", field));
    entry += digits.data();
  }
  entry += name + '\0';
  entry.append((4 - entry.size() % 4) % 4, '\0');
  entry += contents;
  entry.append((4 - entry.size() % 4) % 4, '\0');
  return entry;
}

// cpio stores the data of a file with its last hard link.
TEST_F(Extract, DataOfAHardLinkIsThatOfAllItsNames) {
  writeFile(in("x.cpio"), cpioEntry("a", 0100444, 3, "") + cpioEntry("b", 0100444, 3, "") +
                              cpioEntry("c", 0100444, 3, "some data") +
                              cpioEntry("TRAILER!!!", 0, 1, ""));
  const ProgramResult result = oxarchive({"extract", in("x.cpio")});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.output, resultLine("x.cpio", "x", 3, 27));
  EXPECT_EQ(treeOf(in("x")),
            (Tree{{"a", "file some data"}, {"b", "file some data"}, {"c", "file some data"}}));
  struct stat status {};
  EXPECT_EQ(::stat(in("x/b").c_str(), &status), 0);
  EXPECT_EQ(status.st_nlink, 3U);
  EXPECT_EQ(status.st_mode & 0777U, 0444U);
  remove({"x.cpio", "x"});
}

TEST_F(Extract, NextFreeFolderEachTime) {
  writeArchive(in("photos.tar.gz"), someItems(), {.filter = ::archive_write_add_filter_gzip});
  extractWell("photos.tar.gz", "photos", someItems());
  extractWell("photos.tar.gz", "photos (1)", someItems());
  extractWell("photos.tar.gz", "photos (2)", someItems());
  remove({"photos (1)"});
  extractWell("photos.tar.gz", "photos (1)", someItems());
  remove({"photos.tar.gz", "photos", "photos (1)", "photos (2)"});
}

TEST_F(Extract, LeavesWhatIsThere) {
  writeArchive(in("a.zip"), {file("f")}, {.format = ::archive_write_set_format_zip});
  writeFile(in("a"), "precious");
  std::filesystem::create_symlink(in("missing"), in("a (1)"));
  extractWell("a.zip", "a (2)", {file("f")});
  EXPECT_EQ(readFile(in("a")), "precious");
  EXPECT_FALSE(exists(in("missing")));
  remove({"a.zip", "a", "a (1)", "a (2)"});
}

TEST_F(Extract, IntoAnotherFolder) {
  writeArchive(in("a.tar"), {file("f")});
  struct Row {
    std::string into;
    std::string folder;
  };
  const Row rows[] = {
      {in("new"), in("new/a")},      {in("new"), in("new/a (1)")},
      {in("new/"), in("new/a (2)")}, {in("deep/er/est"), in("deep/er/est/a")},
      {"relative", "relative/a"},    {".", "./a"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.into);
    const ProgramResult result =
        oxarchive({"extract", in("a.tar"), "--into", row.into}, {.folder = work()});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, in("a.tar") + " -> " + row.folder + ": 1 entry, 8 B\n");
    const std::string where = row.folder.starts_with('/') ? row.folder : in(row.folder);
    EXPECT_EQ(treeOf(where), (Tree{{"f", "file contents"}}));
  }
  remove({"a.tar", "new", "deep", "relative", "a"});
}

TEST_F(Extract, BesideAnArchiveInTheCurrentFolder) {
  writeArchive(in("a.tar"), {file("f")});
  const ProgramResult result = oxarchive({"extract", "a.tar", "./a.tar"}, {.folder = work()});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.output, "a.tar -> a: 1 entry, 8 B\n./a.tar -> ./a (1): 1 entry, 8 B\n");
  EXPECT_EQ(treeOf(in("a")), treeOf(in("a (1)")));
  remove({"a.tar", "a", "a (1)"});
}

TEST_F(Extract, SeveralArchivesOfWhichSomeFail) {
  writeArchive(in("a.tar"), {file("f")});
  writeFile(in("b.tar"), "no archive");
  writeArchive(in("c.tar"), {file("g")});
  const ProgramResult result =
      oxarchive({"extract", in("a.tar"), in("b.tar"), in("missing.tar"), in("c.tar")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, resultLine("a.tar", "a", 1, 8) + resultLine("c.tar", "c", 1, 8));
  EXPECT_EQ(result.errors,
            "oxarchive: " + in("b.tar") +
                ": it is not an archive of a known format, or it is damaged\noxarchive: " +
                in("missing.tar") + ": it cannot be opened: No such file or directory\n");
  EXPECT_EQ(names(), (std::vector<std::string>{"a", "a.tar", "b.tar", "c", "c.tar"}));
  remove(names());
}

TEST_F(Extract, AnArchiveWithoutEntriesGivesAnEmptyFolder) {
  for (const auto& [archive, format] :
       std::map<std::string, ArchiveFormat>{{"e.tar", pax},
                                            {"e.zip", ::archive_write_set_format_zip},
                                            {"e.7z", ::archive_write_set_format_7zip},
                                            {"e.cpio", ::archive_write_set_format_cpio_newc}}) {
    SCOPED_TRACE(archive);
    writeArchive(in(archive), {}, {.format = format});
    extractWell(archive, "e", {});
    EXPECT_TRUE(isFolder(in("e")));
    remove({archive, "e"});
  }
}

TEST_F(Extract, NamesAreBytes) {
  const std::string archive = "\xff\xfe.tar";
  writeArchive(in(archive), {file("\x80/\xc3\xa4", "1"), file("e\xcc\x81", "2")},
               {.format = ::archive_write_set_format_gnutar});
  const ProgramResult result = oxarchive({"extract", in(archive)});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.output, in("\\xff\\xfe.tar") + " -> " + in("\\xff\\xfe") + ": 2 entries, 2 B\n");
  EXPECT_EQ(treeOf(in("\xff\xfe")),
            (Tree{{"\x80", "folder"}, {"\x80/\xc3\xa4", "file 1"}, {"e\xcc\x81", "file 2"}}));
  remove({archive, "\xff\xfe"});
}

TEST_F(Extract, NamesInUnicodeInAnyLocale) {
  const std::vector<Item> items = {file("\xc3\xa4\xe2\x82\xac\xf0\x9f\x93\xa6.txt", "1")};
  for (const ArchiveFormat format : {ArchiveFormat(::archive_write_set_format_zip),
                                     ArchiveFormat(::archive_write_set_format_7zip),
                                     ArchiveFormat(::archive_write_set_format_pax)}) {
    writeArchive(in("u.x"), items, {.format = format});
    for (const char* locale : {"C", "C.UTF-8", "nonsense"}) {
      SCOPED_TRACE(locale);
      const ScopedEnvironment environment("LC_ALL", locale);
      extractWell("u.x", "u", items);
      remove({"u"});
    }
    remove({"u.x"});
  }
}

TEST_F(Extract, NamesThatSteerTerminalsAreShownEscaped) {
  const std::string archive = "a\x1b[2J\n.tar";
  writeArchive(in(archive), {file("ok"), file("../\x1b]0;x\x07")});
  const ProgramResult result = oxarchive({"extract", in(archive)});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output.find('\x1b'), std::string::npos);
  EXPECT_EQ(result.errors.find('\x1b'), std::string::npos);
  EXPECT_EQ(result.output, in("a\\x1b[2J\\x0a.tar") + " -> " + in("a\\x1b[2J\\x0a") +
                               ": 1 entry, 8 B (incomplete)\n");
  EXPECT_NE(result.errors.find("../\\x1b]0;x\\x07: "), std::string::npos) << result.errors;
  EXPECT_EQ(treeOf(in("a\x1b[2J\n")), (Tree{{"ok", "file contents"}}));
  remove({archive, "a\x1b[2J\n"});
}

TEST_F(Extract, LaterEntriesReplaceEarlierOnes) {
  const std::vector<Item> items = {file("f", "old"),     file("f", "new, and longer"),
                                   folder("d/"),         file("d/x", "kept"),
                                   folder("d/", 0700),   file("was file", "1"),
                                   folder("was file/"),  symbolicLink("l", "f"),
                                   file("l", "no link"), symbolicLink("to folder", "d"),
                                   folder("to folder/")};
  writeArchive(in("r.tar"), items);
  const ProgramResult result = oxarchive({"extract", in("r.tar")});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(treeOf(in("r")), (Tree{{"f", "file new, and longer"},
                                   {"d", "folder"},
                                   {"d/x", "file kept"},
                                   {"was file", "folder"},
                                   {"l", "file no link"},
                                   {"to folder", "folder"}}));
  remove({"r.tar", "r"});
}

TEST_F(Extract, AnEntryWithoutANameIsTold) {
  // It is marked as Unicode, but is not.
  writeArchive(in("n.zip"), {file("f"), file("\xff\xfe")},
               {.format = ::archive_write_set_format_zip});
  const ProgramResult result = oxarchive({"extract", in("n.zip")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.errors.find("oxarchive: " + in("n.zip") + ": an entry: it has no name\n"),
            std::string::npos)
      << result.errors;
  EXPECT_EQ(treeOf(in("n")), (Tree{{"f", "file contents"}}));
  remove({"n.zip", "n"});
}

TEST_F(Extract, TheSizeIsThatOfWhatIsThereInTheEnd) {
  writeArchive(in("r.tar"), {file("f", noise(5000)), file("f", "12345"), symbolicLink("l", "f"),
                             hardLink("h", "f"), folder("closed", 0), file("closed/g", "123")});
  const ProgramResult replaced = oxarchive({"extract", in("r.tar")});
  EXPECT_EQ(replaced.output, resultLine("r.tar", "r", 6, 5 + 1 + 5 + 3));

  std::string deep = "d";
  for (int i = 0; i < 10; ++i) {
    deep += "/" + std::string(200, 'd');
  }
  writeArchive(in("d.tar"), {file("f", "12345"), file(deep, "123")});
  EXPECT_EQ(oxarchive({"extract", in("d.tar")}).output, resultLine("d.tar", "d", 2, 5 + 3));
  remove({"r.tar", "r", "d.tar", "d"});
}

TEST_F(Extract, PermissionsAndTimesAreThoseOfTheArchive) {
  std::vector<Item> items = {
      folder("closed/", 0555), file("closed/f"), file("run"),  file("special"),
      folder("shared/"),       file("deep/f"),   file("none"), folder("closed/in/", 0500)};
  items[2].permissions = 0755;
  items[3].permissions = 06777;
  items[4].permissions = 03777;
  items[6].permissions = 0;
  items[0].modified = 1'100'000'000;
  items[1].modified = -86400;
  for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{077}}) {
    SCOPED_TRACE(mask);
    writeArchive(in("p.tar"), items);
    const ProgramResult result =
        oxarchive({"extract", in("p.tar")}, {.beforeExec = [mask] { ::umask(mask); }});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    const auto statusOf = [&](const std::string& name) {
      struct stat status {};
      EXPECT_EQ(::lstat(in("p/" + name).c_str(), &status), 0) << name;
      return status;
    };
    EXPECT_EQ(statusOf("closed").st_mode, S_IFDIR | (0555U & ~mask));
    EXPECT_EQ(statusOf("closed/in").st_mode, S_IFDIR | (0500U & ~mask));
    EXPECT_EQ(statusOf("closed/f").st_mode, S_IFREG | (0644U & ~mask));
    EXPECT_EQ(statusOf("run").st_mode, S_IFREG | (0755U & ~mask));
    EXPECT_EQ(statusOf("special").st_mode, S_IFREG | (0777U & ~mask));
    EXPECT_EQ(statusOf("shared").st_mode, S_IFDIR | (0777U & ~mask));
    EXPECT_EQ(statusOf("deep").st_mode, S_IFDIR | (0777U & ~mask));
    EXPECT_EQ(statusOf("none").st_mode, S_IFREG | 0U);
    EXPECT_EQ(statusOf("closed").st_mtime, 1'100'000'000);
    EXPECT_EQ(statusOf("closed/f").st_mtime, -86400);
    EXPECT_EQ(statusOf("run").st_mtime, 1'000'000'000);
    EXPECT_EQ(statusOf("run").st_uid, ::geteuid());
    remove({"p.tar", "p"});
  }
}

TEST_F(Extract, HolesStayHoles) {
  const ProgramResult packed =
      runProgram("sh",
                 {"-c",
                  "mkdir s && truncate -s 1000000 s/all && printf x > s/tail && truncate -s 900000 "
                  "s/tail && truncate -s 800000 s/head && printf x >> s/head && "
                  "tar -S --format=gnu -cf g.tar -C s . && tar -S --format=posix -cf p.tar -C s ."},
                 {.folder = work()});
  ASSERT_EQ(packed.exitCode, 0) << packed.errors;
  for (const std::string name : {"g", "p"}) {
    const ProgramResult result = oxarchive({"extract", in(name + ".tar")});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.output, resultLine(name + ".tar", name, 4, 2'700'001));
    EXPECT_TRUE(treeOf(in(name)) == treeOf(in("s")));
    struct stat status {};
    EXPECT_EQ(::stat(in(name + "/all").c_str(), &status), 0);
    EXPECT_LT(status.st_blocks * 512, status.st_size / 2);
    const ProgramResult limited =
        oxarchive({"extract", in(name + ".tar"), "--into", in("few"), "--max-size", "10K"});
    EXPECT_EQ(limited.exitCode, 1);
    EXPECT_NE(limited.errors.find("it has more bytes than the limit of 10240"), std::string::npos)
        << limited.errors;
    for (const std::string& each : listing(work())) {
      EXPECT_FALSE(each.starts_with("few") && each.ends_with("all")) << each;
    }
    if (exists(in("few"))) {
      remove({"few"});
    }
  }
  remove({"s", "g.tar", "p.tar", "g", "p"});
}

TEST_F(Extract, RefusesWhatIsNoArchive) {
  struct Row {
    std::string name;
    std::string contents;
    std::string reason;
  };
  const std::string unknown = "it is not an archive of a known format, or it is damaged";
  const Row rows[] = {
      {"empty.zip", "", "it is empty, not an archive"},
      {"text.txt", "Just some text.\n", unknown},
      {"a.zip", "a", unknown},
      {"noise.rar", noise(5000), unknown},
      // Formats that would read other files of this machine.
      {"m.mtree", "#mtree\n./x type=file contents=/etc/passwd\n", unknown},
      {"w.warc", "WARC/1.0\r\nWARC-Type: warcinfo\r\nContent-Length: 0\r\n\r\n\r\n", unknown},
      {"u.uu", "begin 644 x\n#0V%T\n`\nend\n", unknown},
      // Compressions that would run another program.
      {"l.lrz", "LRZI" + std::string(60, '\0'),
       "it is compressed by lrzip, which is not supported; lrunzip reads it"},
      {"g.grz", "GRZipII" + std::string(60, '\0'), unknown},
      {"l.lzo", "\x89LZO" + std::string("\0\r\n\x1a\n", 5) + std::string(60, '\0'),
       "it is compressed by lzop, which is not supported; lzop reads it"},
      {"...zip", "PK\5\6" + std::string(18, '\0'), "a folder cannot be called .."},
      {"..zip", "PK\5\6" + std::string(18, '\0'), "a folder cannot be called ."},
  };
  // Leaves a trace if any of them runs.
  ASSERT_TRUE(std::filesystem::create_directory(in("bin")));
  for (const char* program : {"lrzip", "grzip", "lzop", "gzip", "uudecode"}) {
    writeFile(in(std::string("bin/") + program), "#!/bin/sh\n: > '" + in("it ran") + "'\n");
    std::filesystem::permissions(in(std::string("bin/") + program),
                                 std::filesystem::perms::owner_all);
  }
  const ScopedEnvironment path("PATH", in("bin") + ":/usr/bin:/bin");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    writeFile(in(row.name), row.contents);
    const ProgramResult result = oxarchive({"extract", in(row.name)});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "oxarchive: " + in(row.name) + ": " + row.reason + "\n");
    EXPECT_EQ(names(), (std::vector<std::string>{row.name, "bin"}[0] < "bin"
                            ? std::vector<std::string>{row.name, "bin"}
                            : std::vector<std::string>{"bin", row.name}));
    remove({row.name});
  }
  remove({"bin"});
}

TEST_F(Extract, RefusesWhatIsNoFile) {
  ASSERT_TRUE(std::filesystem::create_directory(in("folder.zip")));
  ASSERT_EQ(::mkfifo(in("pipe.zip").c_str(), 0600), 0);
  std::filesystem::create_symlink("missing", in("link.zip"));
  struct Row {
    std::string path;
    std::string reason;
  };
  const Row rows[] = {
      {in("folder.zip"), "it is a folder, not an archive"},
      {in("folder.zip/"), "it is a folder, not an archive"},
      {in("pipe.zip"), "it is not a regular file"},
      {in("link.zip"), "it cannot be opened: No such file or directory"},
      {in("missing.zip"), "it cannot be opened: No such file or directory"},
      {in("missing/a.zip"), "it cannot be opened: No such file or directory"},
      {in("missing.7z.002"), "it cannot be opened: No such file or directory"},
      {"/dev/null", "it is not a regular file"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    const ProgramResult result = oxarchive({"extract", row.path});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "oxarchive: " + row.path + ": " + row.reason + "\n");
  }
  remove({"folder.zip", "pipe.zip", "link.zip"});
}

TEST_F(Extract, AnArchiveThatMayNotBeRead) {
  OX_SKIP_AS_ROOT();
  writeArchive(in("a.tar"), {file("f")});
  ASSERT_EQ(::chmod(in("a.tar").c_str(), 0), 0);
  const ProgramResult result = oxarchive({"extract", in("a.tar")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors,
            "oxarchive: " + in("a.tar") + ": it cannot be opened: Permission denied\n");
  remove({"a.tar"});
}

TEST_F(Extract, ADestinationThatMayNotBeWritten) {
  OX_SKIP_AS_ROOT();
  writeArchive(in("a.tar"), {file("f")});
  ASSERT_TRUE(std::filesystem::create_directory(in("closed")));
  ASSERT_EQ(::chmod(in("closed").c_str(), 0555), 0);
  const ProgramResult result = oxarchive({"extract", in("a.tar"), "--into", in("closed")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "oxarchive: " + in("a.tar") + ": cannot make the folder " +
                               in("closed/a") + ": Permission denied\n");
  const ProgramResult deeper =
      oxarchive({"extract", in("a.tar"), "--into", in("closed/new/deeper")});
  EXPECT_EQ(deeper.exitCode, 1);
  EXPECT_EQ(deeper.output, "");
  EXPECT_EQ(deeper.errors, "oxarchive: " + in("a.tar") + ": cannot make the folder " +
                               in("closed/new") + ": Permission denied\n");
  EXPECT_TRUE(listing(in("closed")).empty());
  remove({"a.tar", "closed"});
}

TEST_F(Extract, ADestinationThatIsNoFolder) {
  writeArchive(in("a.tar"), {file("f")});
  writeFile(in("taken"), "precious");
  for (const std::string into : {"taken", "taken/deeper"}) {
    const ProgramResult result = oxarchive({"extract", in("a.tar"), "--into", in(into)});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "oxarchive: " + in("a.tar") + ": cannot make the folder " +
                                 in("taken") + ": Not a directory\n");
  }
  EXPECT_EQ(readFile(in("taken")), "precious");
  remove({"a.tar", "taken"});
}

TEST_F(Extract, AFailureRemovesTheFoldersThatWereMadeForItAlone) {
  writeArchive(in("bad.tar"), {file("../bad")});
  ASSERT_TRUE(std::filesystem::create_directory(in("mine")));
  const std::vector<std::string> before = names();
  for (const std::string into : {"mine", "mine/", "nope/../mine", "nope/deeper/../../mine/.",
                                 "mine/../nope/../mine/new", "nope/.././mine//new/", "nope"}) {
    SCOPED_TRACE(into);
    const ProgramResult result =
        oxarchive({"extract", "--into", into, "bad.tar"}, {.folder = work()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(names(), before);
    EXPECT_TRUE(listing(in("mine")).empty());
  }
  remove({"bad.tar", "mine"});
}

// Apart from the standard streams, what the test's own parent left open does not count.
void limitDescriptors(rlim_t count) {
  ::closefrom(STDERR_FILENO + 1);
  const rlimit limit{count, count};
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

bool startsWithDescriptors(rlim_t count) {
  return oxarchive({"--help"}, {.beforeExec = [count] { limitDescriptors(count); }}).exitCode == 0;
}

TEST_F(Extract, WithTooFewDescriptorsNoFolderIsLeftBehind) {
  if (ox::test::hasAddressSanitizer) {
    GTEST_SKIP() << "the sanitizers need descriptors of their own";
  }
  writeArchive(in("a.tar"), {file("f"), file("d/g")});
  for (const rlim_t count : {4U, 5U, 6U, 7U, 8U}) {
    SCOPED_TRACE(count);
    // Some loaders need one more descriptor.
    if (count == 4 && !startsWithDescriptors(count)) {
      continue;
    }
    const ProgramResult result = oxarchive({"extract", in("a.tar"), "--into", in("lim")},
                                           {.beforeExec = [count] { limitDescriptors(count); }});
    // What was extracted before is reported and kept.
    if (result.output.empty()) {
      EXPECT_NE(result.exitCode, 0);
      EXPECT_EQ(names(), (std::vector<std::string>{"a.tar"}));
      EXPECT_NE(result.errors.find(": Too many open files"), std::string::npos) << result.errors;
    } else {
      EXPECT_EQ(result.exitCode != 0, result.output.ends_with(" (incomplete)\n"));
      remove({"lim"});
    }
    // It needs the three standard streams, and one each for the archive and the folder.
    EXPECT_TRUE(count > 5 || result.output.empty()) << result.output;
  }
  remove({"a.tar"});
}

TEST_F(Extract, AFullDisk) {
  OX_SKIP_UNLESS_ROOT("only root may mount a small disk");
  writeArchive(in("a.tar"), {file("small"), file("large", noise(400'000)), file("after")});
  ASSERT_TRUE(std::filesystem::create_directory(in("disk")));
  const auto mountSmallDisk = [&] {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", in("disk").c_str(), "tmpfs", 0, "size=128k") != 0) {
      ::_exit(77);
    }
  };
  const ProgramResult result =
      oxarchive({"extract", in("a.tar"), "--into", in("disk")}, {.beforeExec = mountSmallDisk});
  remove({"a.tar", "disk"});
  if (result.exitCode == 77) {
    GTEST_SKIP() << "mounting is not allowed here";
  }
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, in("a.tar") + " -> " + in("disk/a") + ": 1 entry, 8 B (incomplete)\n");
  EXPECT_EQ(result.errors, "oxarchive: " + in("a.tar") +
                               ": cannot write large: No space left on device; the folder " +
                               in("disk/a") + " is incomplete\n");
}

TEST_F(Extract, AFileThatIsTooLargeForTheProcess) {
  writeArchive(in("a.tar"), {file("small"), file("large", noise(400'000)), file("after")});
  const ProgramResult result = oxarchive({"extract", in("a.tar")}, {.beforeExec = [] {
                                           const rlimit limit{100'000, 100'000};
                                           ::setrlimit(RLIMIT_FSIZE, &limit);
                                         }});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(treeOf(in("a")), (Tree{{"small", "file contents"}, {"after", "file contents"}}));
  EXPECT_EQ(result.errors,
            "oxarchive: " + in("a.tar") + ": large: cannot be made: File too large\noxarchive: " +
                in("a.tar") + ": 1 of its entries could not be extracted; the folder " + in("a") +
                " is incomplete\n");
  remove({"a.tar", "a"});
}

TEST_F(Extract, AnInterruptionIsTold) {
  // Most of the archive is a hole in its file, which takes no space.
  writeArchive(in("a.tar"), {file("first")});
  writeArchive(in("h.tar"), {file("huge", "x")}, {.format = ::archive_write_set_format_gnutar});
  std::string header = readFile(in("h.tar")).substr(0, 512);
  const std::string size = "77777777777";  // octal: 8 GiB
  header.replace(124, size.size(), size);
  setTarCheckSum(header);
  writeFile(in("a.tar"), readFile(in("a.tar")).substr(0, 1024) + header);
  ASSERT_EQ(::truncate(in("a.tar").c_str(), 8'589'940'000), 0);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal);
    const auto interrupt = [&](int child) {
      siginfo_t end{};  // not for ever, if the program has ended
      while (!exists(in("a/huge")) && end.si_pid == 0 &&
             ::waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOHANG | WNOWAIT) == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      ::kill(child, signal);
    };
    // If not interrupted, it fails long before the disk is full.
    const auto limitFiles = [] {
      constexpr rlim_t most = rlim_t{2} << 30U;
      const rlimit limit{most, most};
      ::setrlimit(RLIMIT_FSIZE, &limit);
    };
    const ProgramResult result = oxarchive({"extract", in("a.tar"), in("h.tar")},
                                           {.beforeExec = limitFiles, .whileRunning = interrupt});
    EXPECT_EQ(result.signal, signal);
    EXPECT_EQ(result.output, in("a.tar") + " -> " + in("a") + ": 1 entry, 8 B (incomplete)\n");
    EXPECT_EQ(result.errors, "oxarchive: " + in("a.tar") + ": interrupted; the folder " + in("a") +
                                 " is incomplete\n");
    EXPECT_EQ(listing(in("a")), (std::vector<std::string>{"first"}));
    EXPECT_EQ(readFile(in("a/first")), "contents");
    remove({"a"});
  }
  remove({"a.tar", "h.tar"});
}

TEST_F(Extract, TellsWhyNoTemporaryFolderCanBeMade) {
  writeArchive(in("a.tar"), {file("a")});
  writeFile(in("f"));
  struct Row {
    std::string folder;
    std::string reason;
  };
  for (const Row& row :
       {Row{in("missing"), "No such file or directory"}, Row{in("f"), "Not a directory"}}) {
    const ScopedEnvironment temporary("TMPDIR", row.folder);
    const std::string reason =
        ": no temporary folder can be made in " + row.folder + ": " + row.reason + "\n";
    EXPECT_EQ(oxarchive({"extract", in("a.tar")}).errors, "oxarchive: " + in("a.tar") + reason);
    EXPECT_EQ(oxarchive({"create", in("o.7z"), in("a.tar")}).errors,
              "oxarchive: " + in("o.7z") + reason);
  }
  EXPECT_EQ(names(), (std::vector<std::string>{"a.tar", "f"}));
  remove({"a.tar", "f"});
}

}  // namespace

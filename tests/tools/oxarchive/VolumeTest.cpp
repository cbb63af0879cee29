// SPDX-License-Identifier: MIT

// Archives in several volumes.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "OxarchiveTest.h"
#include "RarWriter.h"

namespace {

using namespace ox::test;

std::string padded(std::size_t number, std::size_t width) {
  std::string digits = std::to_string(number);
  digits.insert(0, width - std::min(width, digits.size()), '0');
  return digits;
}

// The name of a volume by its index, which starts at 0.
using Naming = std::string (*)(std::size_t index);

class Volumes : public OxarchiveTest {
 protected:
  // Splits the file `name` in `work()` into volumes, and removes it.
  std::vector<std::string> split(const std::string& name, std::size_t volumeSize,
                                 std::size_t width = 3, std::size_t first = 1) {
    const std::string whole = readFile(in(name));
    std::vector<std::string> volumes;
    for (std::size_t start = 0; start < whole.size(); start += volumeSize) {
      volumes.push_back(name + "." + padded(volumes.size() + first, width));
      writeFile(in(volumes.back()), whole.substr(start, volumeSize));
    }
    removeOne(in(name));
    return volumes;
  }

  std::vector<std::string> writeRar(const std::vector<std::string>& volumes, Naming naming) {
    std::vector<std::string> written;
    for (std::size_t i = 0; i < volumes.size(); ++i) {
      written.push_back(naming(i));
      writeFile(in(written.back()), volumes[i]);
    }
    return written;
  }

  void expectWell(const std::string& given, const std::string& folder, const Tree& tree) {
    const ProgramResult result = oxarchive({"extract", in(given)});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(result.output.starts_with(in(given) + " -> " + in(folder) + ": ")) << result.output;
    EXPECT_TRUE(treeOf(in(folder)) == tree) << testing::PrintToString(listing(in(folder)));
    remove({folder});
  }

  void expectFailure(const std::string& given, const std::string& reason) {
    const std::vector<std::string> before = names();
    const ProgramResult result = oxarchive({"extract", in(given)});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "oxarchive: " + in(given) + ": " + reason + "\n");
    EXPECT_EQ(names(), before);
  }

  // With any volume, the whole archive is extracted; if one is missing, nothing is.
  void expectSet(const std::vector<std::string>& volumes, const std::string& folder,
                 const Tree& tree, bool lastIsMissed = true) {
    ASSERT_GE(volumes.size(), 3U);
    for (const std::string& given : volumes) {
      SCOPED_TRACE(given);
      expectWell(given, folder, tree);
    }
    for (const std::size_t missing : {std::size_t{0}, volumes.size() / 2, volumes.size() - 1}) {
      const bool isLast = missing == volumes.size() - 1;
      if (isLast && !lastIsMissed) {
        continue;
      }
      std::filesystem::rename(in(volumes[missing]), in("elsewhere"));
      const std::string what = missing == 0 ? "the first volume of it"
                               : isLast     ? "the next volume"
                                            : "one of the volumes";
      for (const std::size_t given : {std::size_t{1}, volumes.size() - 2}) {
        if (given != missing) {
          SCOPED_TRACE(volumes[given] + " without " + volumes[missing]);
          expectFailure(volumes[given], volumes[missing] + ", " + what + ", is missing");
        }
      }
      std::filesystem::rename(in("elsewhere"), in(volumes[missing]));
    }
  }
};

TEST_F(Volumes, NumberedOnesOfAnyArchive) {
  struct Row {
    std::string archive;
    std::string folder;
    ArchiveFormat format;
    ArchiveFilter filter;
    std::size_t width;
  };
  const Row rows[] = {
      {"disk.7z", "disk", ::archive_write_set_format_7zip, noFilter, 3},
      {"disk.zip", "disk", ::archive_write_set_format_zip, noFilter, 3},
      {"disk.zip", "disk", ::archive_write_set_format_zip, noFilter, 1},
      {"disk.tar", "disk", ::archive_write_set_format_ustar, noFilter, 2},
      {"disk.tar.gz", "disk", ::archive_write_set_format_ustar, ::archive_write_add_filter_gzip, 3},
      {"Tool.app.7z", "Tool", ::archive_write_set_format_7zip, noFilter, 4},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.archive);
    writeArchive(in(row.archive), someItems(), {.format = row.format, .filter = row.filter});
    const std::vector<std::string> volumes = split(row.archive, 70'000, row.width);
    // Only the archive itself shows that the last volume is missing.
    expectSet(volumes, row.folder, treeOf(someItems()), false);
    std::filesystem::rename(in(volumes.back()), in("elsewhere"));
    const ProgramResult result = oxarchive({"extract", in(volumes.front())});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.errors, "");
    if (exists(in(row.folder))) {
      EXPECT_NE(result.errors.find(" is incomplete\n"), std::string::npos) << result.errors;
      EXPECT_TRUE(result.output.ends_with(" (incomplete)\n"));
      remove({row.folder});
    }
    std::filesystem::rename(in("elsewhere"), in(volumes.back()));
    remove(volumes);
  }
}

TEST_F(Volumes, WithLineFeedsInTheirNames) {
  writeArchive(in("a\nb.zip"), someItems(), {.format = ::archive_write_set_format_zip});
  const std::vector<std::string> volumes = split("a\nb.zip", 70'000);
  const ProgramResult result = oxarchive({"extract", in(volumes.back())});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_TRUE(treeOf(in("a\nb")) == treeOf(someItems()));
  remove({"a\nb"});
  remove(volumes);
}

TEST_F(Volumes, CountedFromZero) {
  struct Row {
    std::string archive;
    ArchiveFormat format;
    ArchiveFilter filter;
    std::size_t width;
  };
  const Row rows[] = {
      {"disk.tar.gz", ::archive_write_set_format_ustar, ::archive_write_add_filter_gzip, 2},
      {"disk.zip", ::archive_write_set_format_zip, noFilter, 3},
      {"disk.cpio", ::archive_write_set_format_cpio_newc, noFilter, 2},
      {"disk.cpio", ::archive_write_set_format_cpio_bin, noFilter, 2},
      {"disk.xar", ::archive_write_set_format_xar, noFilter, 2},
      {"disk.iso", ::archive_write_set_format_iso9660, noFilter, 2},
      {"disk.tar.lz", ::archive_write_set_format_ustar, ::archive_write_add_filter_lzip, 2},
      {"disk.tar.lz4", ::archive_write_set_format_ustar, ::archive_write_add_filter_lz4, 2},
      {"disk.tar.lzma", ::archive_write_set_format_ustar, ::archive_write_add_filter_lzma, 2},
      {"disk.tar.Z", ::archive_write_set_format_ustar, ::archive_write_add_filter_compress, 2},
      // A split where a volume may start with an archive's signature.
      {"disk.tar", ::archive_write_set_format_ustar, noFilter, 2},
  };
  const std::vector<Item> items = {file("a", noise(50'000)), file("b", noise(512)),
                                   file("c", noise(60'000, 2))};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.archive);
    writeArchive(in(row.archive), items, {.format = row.format, .filter = row.filter});
    const std::vector<std::string> volumes = split(row.archive, 51'200, row.width, 0);
    ASSERT_GE(volumes.size(), 3U);
    for (const std::string& given : volumes) {
      expectWell(given, "disk", treeOf(items));
    }
    std::filesystem::rename(in(volumes[1]), in("elsewhere"));
    const ProgramResult result = oxarchive({"extract", in(volumes[2])});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.errors, "");
    std::filesystem::rename(in("elsewhere"), in(volumes[1]));
    remove(volumes);
  }
}

// 90 follows as 9000, and 990 as 990000, so that the names stay in order.
TEST_F(Volumes, CountedAsSplitDoes) {
  const std::vector<Item> items = {file("a", noise(300'000))};
  writeArchive(in("d.tar"), items, {.format = ::archive_write_set_format_ustar});
  const ProgramResult cut =
      runProgram("split", {"-d", "-b", "300", "d.tar", "d.tar."}, {.folder = work()});
  ASSERT_EQ(cut.exitCode, 0) << cut.errors;
  removeOne(in("d.tar"));
  const std::vector<std::string> volumes = names();
  ASSERT_GT(volumes.size(), 1000U);
  for (const std::string given :
       {"d.tar.00", "d.tar.89", "d.tar.9000", "d.tar.9095", "d.tar.9899", "d.tar.990000"}) {
    SCOPED_TRACE(given);
    expectWell(given, "d", treeOf(items));
  }
  for (const std::string missing : {"d.tar.50", "d.tar.9095", "d.tar.990001"}) {
    std::filesystem::rename(in(missing), in("elsewhere"));
    expectFailure("d.tar.00", missing + ", one of the volumes, is missing");
    std::filesystem::rename(in("elsewhere"), in(missing));
  }
  for (const std::string& volume : volumes) {
    removeOne(in(volume));
  }
  // With a width that is given, it does count to 99.
  writeArchive(in("d.tar"), items, {.format = ::archive_write_set_format_ustar});
  const std::vector<std::string> hundred = split("d.tar", 3100, 2, 0);
  ASSERT_GT(hundred.size(), 95U);
  ASSERT_LE(hundred.size(), 100U);
  expectWell("d.tar.95", "d", treeOf(items));
  remove(hundred);
}

TEST_F(Volumes, CountedFromOneBesideAFileWithZero) {
  const std::vector<Item> items = {file("a", noise(100'000))};
  for (const ArchiveFormat format :
       {::archive_write_set_format_zip, ::archive_write_set_format_ustar}) {
    writeArchive(in("d.x"), items, {.format = format});
    const std::vector<std::string> volumes = split("d.x", 40'000);
    writeFile(in("d.x.000"), "a note");
    for (const std::string& given : volumes) {
      expectWell(given, "d", treeOf(items));
    }
    remove(volumes);
    remove({"d.x.000"});
  }
  // Copies of two archives.
  writeArchive(in("e.tar.gz.00"), {file("0")}, {.filter = ::archive_write_add_filter_gzip});
  writeArchive(in("e.tar.gz.01"), {file("1")}, {.filter = ::archive_write_add_filter_gzip});
  expectWell("e.tar.gz.00", "e.tar.gz", {{"0", "file contents"}});
  expectWell("e.tar.gz.01", "e", {{"1", "file contents"}});
  remove({"e.tar.gz.00", "e.tar.gz.01"});
}

TEST_F(Volumes, OfZipsOwnAreNotRead) {
  if (findProgram({"zip"}).empty()) {
    GTEST_SKIP() << "zip is not installed";
  }
  writeFile(in("f"), noise(200'000));
  ASSERT_EQ(runProgram("zip", {"-q", "-s", "64k", "d.zip", "f"}, {.folder = work()}).exitCode, 0);
  for (const std::string given : {"d.z01", "d.z02", "d.zip"}) {
    const std::string reason =
        ": it is a volume of a ZIP archive, which is not supported; 7-Zip reads it, and \"zip -s "
        "0\" joins the volumes\n";
    expectFailure(given, reason.substr(2, reason.size() - 3));
    EXPECT_EQ(oxarchive({"list", in(given)}).errors, "oxarchive: " + in(given) + reason);
  }
  remove({"d.z01", "d.z02", "d.z03", "d.zip", "f"});
}

TEST_F(Volumes, SevenZipsOwn) {
  const std::string sevenZip = findProgram({"7zz", "7z", "7za"});
  if (sevenZip.empty()) {
    GTEST_SKIP() << "7-Zip is not installed";
  }
  ASSERT_TRUE(std::filesystem::create_directories(in("photos/summer")));
  writeFile(in("photos/summer/sea.raw"), noise(200'000));
  writeFile(in("photos/read me.txt"), "hello\n");
  const ProgramResult packed = runProgram(
      sevenZip, {"a", "-v60k", "-bso0", "-bsp0", "disk.7z", "photos"}, {.folder = work()});
  ASSERT_EQ(packed.exitCode, 0) << packed.errors;
  Tree tree = {{"photos", "folder"}};
  for (const auto& [name, what] : treeOf(in("photos"))) {
    tree["photos/" + name] = what;
  }
  std::vector<std::string> volumes = names();
  std::erase(volumes, "photos");
  EXPECT_EQ(volumes.front(), "disk.7z.001");
  expectSet(volumes, "disk", tree, false);
  remove(volumes);
  remove({"photos"});
}

TEST_F(Volumes, MoreThanNineHundredAndNinetyNine) {
  const std::vector<Item> items = {file("f", noise(1200))};
  writeArchive(in("d.7z"), items,
               {.format = ::archive_write_set_format_7zip, .options = "compression=store"});
  const std::vector<std::string> volumes = split("d.7z", 1);
  ASSERT_GT(volumes.size(), 1010U);
  for (const std::string given : {"d.7z.001", "d.7z.002", "d.7z.999", "d.7z.1000", "d.7z.1010"}) {
    SCOPED_TRACE(given);
    expectWell(given, "d", treeOf(items));
  }
  std::filesystem::rename(in("d.7z.1005"), in("elsewhere"));
  expectFailure("d.7z.1010", "d.7z.1005, one of the volumes, is missing");
  std::filesystem::rename(in("elsewhere"), in("d.7z.1005"));
  std::filesystem::rename(in("d.7z.001"), in("elsewhere"));
  expectFailure("d.7z.1010", "d.7z.001, the first volume of it, is missing");
  remove({"elsewhere"});
  for (const std::string& volume : volumes) {
    if (volume != "d.7z.001") {
      removeOne(in(volume));
    }
  }
}

TEST_F(Volumes, InTheCurrentFolder) {
  writeArchive(in("d.zip"), someItems(), {.format = ::archive_write_set_format_zip});
  const std::vector<std::string> volumes = split("d.zip", 100'000);
  const ProgramResult result = oxarchive({"extract", "d.zip.002"}, {.folder = work()});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.output, "d.zip.002 -> d: 5 entries, 300 KB\n");
  EXPECT_EQ(treeOf(in("d")), treeOf(someItems()));
  remove({"d"});
  remove(volumes);
}

TEST_F(Volumes, AllOfASetGivenAtOnce) {
  writeArchive(in("d.zip"), someItems(), {.format = ::archive_write_set_format_zip});
  const std::vector<std::string> volumes = split("d.zip", 100'000);
  ASSERT_EQ(volumes.size(), 4U);
  const ProgramResult result =
      oxarchive({"extract", "d.zip.001", "d.zip.002", "d.zip.003", "d.zip.004", "d.zip.001"},
                {.folder = work()});
  EXPECT_EQ(result.exitCode, 0);
  // An archive named twice is extracted twice; one named by another volume is not.
  EXPECT_EQ(result.output,
            "d.zip.001 -> d: 5 entries, 300 KB\n"
            "d.zip.001 -> d (1): 5 entries, 300 KB\n");
  EXPECT_EQ(result.errors,
            "oxarchive: d.zip.002: a volume of an archive that was already given\n"
            "oxarchive: d.zip.003: a volume of an archive that was already given\n"
            "oxarchive: d.zip.004: a volume of an archive that was already given\n");
  remove({"d", "d (1)"});
  remove(volumes);
}

TEST_F(Volumes, NumbersThatAreNone) {
  const std::vector<Item> items = {file("f")};
  struct Row {
    std::string archive;
    std::string folder;
  };
  const Row rows[] = {
      {"data.003", "data"},  // no extension before the number
      {"v1.0", "v1 (1)"},    // no set starts at 0
      {"backup.v2.0", "backup.v2"},
      {"x.7z.20240101123456", "x.7z"},  // no archive has so many
      {"x.part.rar", "x.part"},
      {"x.part1.rar", "x.part1"},  // no RAR archive at all
      {"x.partial.rar", "x.partial"},
      {"x.rar", "x"},
      {"x.r00", "x"},
      {"x.r", "x"},
      {"x.t12", "x"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.archive);
    writeArchive(in(row.archive), items);
    if (row.folder == "v1 (1)") {
      writeFile(in("v1"));
    }
    expectWell(row.archive, row.folder, treeOf(items));
    remove({row.archive});
  }
  remove({"v1"});
  // Beside a possible first volume.
  writeArchive(in("x.part001.rar"), {file("another")});
  writeArchive(in("x.partial.rar"), items);
  writeArchive(in("x.rar"), {file("another")});
  writeArchive(in("x.r"), items);
  writeArchive(in("x.r00"), items);
  expectWell("x.partial.rar", "x.partial", treeOf(items));
  expectWell("x.r", "x", treeOf(items));
  expectWell("x.r00", "x", treeOf(items));
  remove({"x.part001.rar", "x.partial.rar", "x.rar", "x.r", "x.r00"});
}

TEST_F(Volumes, OldCopiesAreNone) {
  for (const auto& [format, filter] : std::vector<std::pair<ArchiveFormat, ArchiveFilter>>{
           {::archive_write_set_format_ustar, ::archive_write_add_filter_gzip},
           {::archive_write_set_format_ustar, ::archive_write_add_filter_xz},
           {::archive_write_set_format_zip, ::archive_write_add_filter_none},
           {::archive_write_set_format_7zip, ::archive_write_add_filter_none}}) {
    for (const std::string number : {"1", "2", "3"}) {
      writeArchive(in("etc.x." + number), {file("copy " + number)},
                   {.format = format, .filter = filter});
    }
    for (const std::string number : {"1", "2", "3"}) {
      expectWell("etc.x." + number, "etc.x", {{"copy " + number, "file contents"}});
    }
    remove({"etc.x.1", "etc.x.2", "etc.x.3"});
  }
  // A tar archive's start does not show it, but data after its end is reported.
  writeArchive(in("etc.tar.1"), {file("copy 1")});
  writeArchive(in("etc.tar.2"), {file("copy 2")});
  const ProgramResult result = oxarchive({"extract", in("etc.tar.2")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors, "oxarchive: " + in("etc.tar.2") +
                               ": more data follows its end mark; the folder " + in("etc") +
                               " is incomplete\n");
  remove({"etc", "etc.tar.1", "etc.tar.2"});
}

const std::vector<RarFile> rarFiles = {{"a.txt", "hello, first file\n"},
                                       {"d/b.bin", noise(3000)},
                                       {"d/empty", ""},
                                       {"z.txt", "the last file of this archive\n"}};

Tree rarTree() {
  return {{"a.txt", "file " + rarFiles[0].contents},
          {"d", "folder"},
          {"d/b.bin", "file " + rarFiles[1].contents},
          {"d/empty", "file "},
          {"z.txt", "file " + rarFiles[3].contents}};
}

struct RarRow {
  const char* what;
  Naming naming;
  std::string folder;
  RarOptions options;
};

std::string part1(std::size_t index) {
  return "movie.part" + std::to_string(index + 1) + ".rar";
}

std::string part2(std::size_t index) {
  return "movie.part" + padded(index + 1, 2) + ".rar";
}

std::string part3(std::size_t index) {
  return "my.movie.part" + padded(index + 1, 3) + ".rar";
}

std::string letters(std::size_t index) {
  if (index == 0) {
    return "movie.rar";
  }
  const std::size_t number = index - 1;
  return std::string("movie.") + static_cast<char>('r' + number / 100) + padded(number % 100, 2);
}

std::string capitalParts(std::size_t index) {
  return "MOVIE.PART" + std::to_string(index + 1) + ".RAR";
}

std::string mixedParts(std::size_t index) {
  return "Movie.Part" + padded(index + 1, 2) + ".rar";
}

std::string capitalLetters(std::size_t index) {
  return index == 0 ? "MOVIE.RAR" : "MOVIE.R" + padded(index - 1, 2);
}

const RarRow rarRows[] = {
    {"capitals, PART1 to PART12", capitalParts, "MOVIE", {.dataPerVolume = 260}},
    {"capitals, R00", capitalLetters, "MOVIE", {.dataPerVolume = 700}},
    {"capitals and others", mixedParts, "Movie", {.isNewFormat = true, .dataPerVolume = 700}},
    {"part1", part1, "movie", {.dataPerVolume = 700}},
    {"part1 to part12", part1, "movie", {.dataPerVolume = 260}},
    {"part01", part2, "movie", {.dataPerVolume = 700}},
    {"part001 of a dotted name", part3, "my.movie", {.dataPerVolume = 700}},
    {"old names", letters, "movie", {.dataPerVolume = 700}},
    {"files in volumes of their own", part1, "movie", {.startFilesInNewVolumes = true}},
    {"old names, files in volumes of their own",
     letters,
     "movie",
     {.startFilesInNewVolumes = true}},
    {"old names, numbers in end marks",
     letters,
     "movie",
     {.startFilesInNewVolumes = true, .hasOldNames = true}},
    {"RAR 5", part1, "movie", {.isNewFormat = true, .dataPerVolume = 700}},
    {"RAR 5, part1 to part12", part1, "movie", {.isNewFormat = true, .dataPerVolume = 260}},
    {"RAR 5, old names", letters, "movie", {.isNewFormat = true, .dataPerVolume = 700}},
    {"RAR 5, files in volumes of their own",
     part1,
     "movie",
     {.isNewFormat = true, .startFilesInNewVolumes = true}},
    {"RAR 5, packed",
     part1,
     "movie",
     {.isNewFormat = true, .isPacked = true, .dataPerVolume = 700}},
    {"RAR 5, packed, solid",
     part1,
     "movie",
     {.isNewFormat = true, .isPacked = true, .isSolid = true, .dataPerVolume = 700}},
    {"RAR 5, packed, files in volumes of their own",
     part1,
     "movie",
     {.isNewFormat = true, .isPacked = true, .startFilesInNewVolumes = true}},
};

TEST_F(Volumes, OfRar) {
  for (const RarRow& row : rarRows) {
    SCOPED_TRACE(row.what);
    const std::vector<std::string> volumes =
        writeRar(makeRarVolumes(rarFiles, row.options), row.naming);
    expectSet(volumes, row.folder, rarTree());
    remove(volumes);
  }
}

TEST_F(Volumes, OfRarBeyondR99) {
  for (const Naming naming : {letters, part2}) {
    const std::vector<std::string> volumes =
        writeRar(makeRarVolumes(rarFiles, {.dataPerVolume = 14}), naming);
    ASSERT_GT(volumes.size(), 205U);
    for (const std::size_t given : {0U, 1U, 99U, 100U, 101U, 150U, 201U, 205U}) {
      SCOPED_TRACE(volumes[given]);
      expectWell(volumes[given], "movie", rarTree());
    }
    std::filesystem::rename(in(volumes[150]), in("elsewhere"));
    expectFailure(volumes[201], volumes[150] + ", one of the volumes, is missing");
    remove({"elsewhere"});
    for (const std::string& volume : volumes) {
      if (volume != volumes[150]) {
        removeOne(in(volume));
      }
    }
  }
}

TEST_F(Volumes, OfRarWithoutEndMarks) {
  // As written by old programs.
  for (const bool startFilesInNewVolumes : {false, true}) {
    const std::vector<std::string> volumes =
        writeRar(makeRarVolumes(rarFiles, {.dataPerVolume = 700,
                                           .startFilesInNewVolumes = startFilesInNewVolumes,
                                           .hasEndMarks = false}),
                 letters);
    for (const std::string& given : volumes) {
      expectWell(given, "movie", rarTree());
    }
    remove(volumes);
  }
}

TEST_F(Volumes, OfRarThatDoNotFit) {
  std::vector<std::string> volumes = makeRarVolumes(rarFiles, {.dataPerVolume = 700});
  ASSERT_EQ(volumes.size(), 5U);
  // An additional volume of an older, longer set.
  volumes.push_back(makeRarVolumes(rarFiles, {.dataPerVolume = 600}).back());
  std::vector<std::string> written = writeRar(volumes, part1);
  expectFailure(part1(0), in(part1(4)) + " says that it is the last volume, but there are more");
  remove({part1(5)});
  // Another file in place of a volume.
  writeFile(in(part1(2)), "no RAR volume");
  expectFailure(part1(0), in(part1(2)) + " is not a RAR volume");
  // Two volumes exchanged.
  writeFile(in(part1(2)), volumes[3]);
  writeFile(in(part1(3)), volumes[2]);
  const ProgramResult result = oxarchive({"extract", in(part1(0))});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_TRUE(result.errors.starts_with("oxarchive: " + in(part1(0)) +
                                        ": d/b.bin: its data is damaged: the check sum is wrong\n"))
      << result.errors;
  Tree tree = rarTree();
  tree.erase("d/b.bin");
  EXPECT_TRUE(treeOf(in("movie")) == tree);
  remove({"movie", part1(0), part1(1), part1(2), part1(3), part1(4)});
}

TEST_F(Volumes, OfRarThatAreCutShort) {
  // Truncated between two entries, so that only the volume is incomplete.
  for (const bool isNewFormat : {false, true}) {
    std::vector<std::string> volumes =
        makeRarVolumes(rarFiles, {.isNewFormat = isNewFormat, .startFilesInNewVolumes = true});
    volumes[1].resize(volumes[1].size() - 1);
    const std::vector<std::string> written = writeRar(volumes, part1);
    const ProgramResult result = oxarchive({"extract", in(part1(0))});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.errors.ends_with("; the folder " + in("movie") + " is incomplete\n"))
        << result.errors;
    remove({"movie"});
    remove(written);
  }
}

TEST_F(Volumes, OfARarFileThatWasSplit) {
  for (const bool isNewFormat : {false, true}) {
    std::vector<RarFile> files = rarFiles;
    files.push_back({"secret", "cipher text", true});
    const std::string bytes =
        makeRarVolumes(rarFiles, {.isNewFormat = isNewFormat, .dataPerVolume = 100'000}).front();
    writeFile(in("s.rar"), bytes);
    std::vector<std::string> volumes = split("s.rar", 1000);
    expectSet(volumes, "s", rarTree(), false);
    // What libarchive does not notice, here as in a whole file.
    writeFile(in(volumes.back()), bytes.substr(3000, bytes.size() - 3000 - 1));
    const ProgramResult cut = oxarchive({"extract", in(volumes[0])});
    EXPECT_TRUE(cut.errors.ends_with(in(volumes.back()) + " is cut short; the folder " + in("s") +
                                     " is incomplete\n"))
        << cut.errors;
    remove({"s"});
    remove(volumes);
    writeFile(in("s.rar"),
              makeRarVolumes(files, {.isNewFormat = isNewFormat, .dataPerVolume = 100'000})[0]);
    volumes = split("s.rar", 1000);
    const ProgramResult result = oxarchive({"extract", in(volumes[1])});
    EXPECT_NE(result.errors.find("1 of its entries cannot be read: it is encrypted"),
              std::string::npos)
        << result.errors;
    EXPECT_TRUE(treeOf(in("s")) == rarTree());
    remove({"s"});
    remove(volumes);
  }
}

TEST_F(Volumes, OfRarUnderNamesThatTellNothing) {
  const std::vector<std::string> volumes = makeRarVolumes(rarFiles, {.dataPerVolume = 700});
  writeFile(in("MOVIE-1.BIN"), volumes[0]);
  writeFile(in("MOVIE-2.BIN"), volumes[1]);
  for (const std::string given : {"MOVIE-1.BIN", "MOVIE-2.BIN"}) {
    expectFailure(given, "it is one of several volumes, but its name does not say which others");
  }
  remove({"MOVIE-1.BIN", "MOVIE-2.BIN"});
}

TEST_F(Volumes, OfRarThatContinueAnotherUnderItsName) {
  const std::string reason = "it continues an earlier volume, but its name does not say which";
  for (const RarOptions& options :
       {RarOptions{.dataPerVolume = 700}, RarOptions{.startFilesInNewVolumes = true},
        RarOptions{.startFilesInNewVolumes = true, .hasOldNames = true},
        RarOptions{.isNewFormat = true, .dataPerVolume = 700},
        RarOptions{.isNewFormat = true, .startFilesInNewVolumes = true}}) {
    const std::vector<std::string> volumes = makeRarVolumes(rarFiles, options);
    ASSERT_GE(volumes.size(), 3U);
    // Only the last volume, and the last two under the names of the first.
    writeFile(in("x.part8 (1).rar"), volumes.back());
    writeFile(in("x.bin"), volumes.back());
    writeFile(in("x.part8.rar.1"), volumes.back());
    writeFile(in("y.part1.rar"), volumes[volumes.size() - 2]);
    writeFile(in("y.part2.rar"), volumes.back());
    for (const std::string given :
         {"x.part8 (1).rar", "x.part8.rar.1", "x.bin", "y.part1.rar", "y.part2.rar"}) {
      SCOPED_TRACE(given);
      expectFailure(given, reason);
      const ProgramResult listed = oxarchive({"list", in(given)});
      EXPECT_EQ(listed.exitCode, 1);
      EXPECT_EQ(listed.output, "");
      EXPECT_TRUE(listed.errors.starts_with("oxarchive: " + in(given) + ": " + reason + "\n"))
          << listed.errors;
    }
    remove({"x.part8 (1).rar", "x.part8.rar.1", "x.bin", "y.part1.rar", "y.part2.rar"});
  }
}

// Such files are damaged or forged. A later main block takes nothing back.
TEST_F(Volumes, OfRarWithASecondMainBlock) {
  for (const bool isNewFormat : {false, true}) {
    SCOPED_TRACE(isNewFormat);
    RarOptions options{
        .isNewFormat = isNewFormat, .dataPerVolume = 100'000, .hasSecondMainBlock = true};
    writeFile(in("movie.rar"), makeRarVolumes(rarFiles, options).front());
    expectWell("movie.rar", "movie", rarTree());
    options.startFilesInNewVolumes = true;
    writeFile(in("x.bin"), makeRarVolumes(rarFiles, options).back());
    expectFailure("x.bin", "it continues an earlier volume, but its name does not say which");
    remove({"movie.rar", "x.bin"});
  }
  const std::vector<std::string> volumes = writeRar(
      makeRarVolumes(rarFiles, {.dataPerVolume = 700, .hasSecondMainBlock = true}), letters);
  removeOne(in(volumes[1]));
  expectFailure(volumes[0], volumes[1] + ", one of the volumes, is missing");
  removeOne(in(volumes[0]));
  remove({volumes.begin() + 2, volumes.end()});
}

TEST_F(Volumes, ASingleRarFile) {
  for (const RarOptions& options :
       {RarOptions{.dataPerVolume = 100'000},
        RarOptions{.isNewFormat = true, .dataPerVolume = 100'000},
        RarOptions{.isNewFormat = true, .isPacked = true, .dataPerVolume = 100'000},
        RarOptions{
            .isNewFormat = true, .isPacked = true, .isSolid = true, .dataPerVolume = 100'000}}) {
    writeRar(makeRarVolumes(rarFiles, options), letters);
    // Another file with the name of one of its volumes.
    writeFile(in("movie.r00"), "something else");
    writeFile(in("movie.part2.rar"), "something else");
    expectWell("movie.rar", "movie", rarTree());
    remove({"movie.rar", "movie.r00", "movie.part2.rar"});
  }
}

TEST_F(Volumes, OnlyLooksLikeAVolume) {
  const std::vector<std::string> volumes =
      writeRar(makeRarVolumes(rarFiles, {.dataPerVolume = 700}), letters);
  writeFile(in("movie.z01"), "a volume of something else");
  writeFile(in("movie.part1.rar"), "another archive");
  expectWell("movie.r01", "movie", rarTree());
  remove({"movie.z01", "movie.part1.rar"});
  remove(volumes);
}

}  // namespace

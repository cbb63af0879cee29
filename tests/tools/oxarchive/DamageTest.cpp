// SPDX-License-Identifier: MIT

// Archives that are damaged, truncated or encrypted.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "OxarchiveTest.h"
#include "RarWriter.h"
#include "support/Share.h"

namespace {

using namespace ox::test;

class Damage : public OxarchiveTest {
 protected:
  // Extracts `bytes` as `archive`, whose undamaged contents are `whole`. Every error must be
  // reported, and everything extracted must be correct. Returns the exit code.
  int extractDamaged(const std::string& archive, const std::string& bytes, const Tree& whole) {
    writeFile(in(archive), bytes);
    const ProgramResult result = oxarchive({"extract", in(archive)});
    const bool hasFolder = exists(in("d"));
    const Tree tree = treeOf(in("d"));
    if (result.exitCode == 0) {
      EXPECT_EQ(result.errors, "");
      EXPECT_TRUE(hasFolder);
      EXPECT_TRUE(tree == whole) << "incomplete, and not a word of it";
    } else {
      EXPECT_EQ(result.exitCode, 1);
      EXPECT_TRUE(result.errors.starts_with("oxarchive: " + in(archive) + ": ")) << result.errors;
      const bool isTold = result.errors.ends_with("; the folder " + in("d") + " is incomplete\n") &&
                          result.output.ends_with(" (incomplete)\n");
      EXPECT_EQ(isTold, hasFolder) << result.output << result.errors;
      EXPECT_EQ(tree.empty(), !hasFolder);
    }
    for (const auto& [name, what] : tree) {
      EXPECT_TRUE(whole.contains(name)) << name;
      if (isContentsChecked_ && whole.contains(name)) {
        EXPECT_TRUE(what == whole.at(name)) << name << " is damaged";
      }
    }
    if (hasFolder) {
      remove({"d"});
    }
    remove({archive});
    return result.exitCode;
  }

  bool isContentsChecked_ = true;
};

struct DamageRow {
  std::string archive;
  ArchiveFormat format;
  ArchiveFilter filter;
  std::string options;
};

const std::vector<Item> smallItems = {folder("f/"), file("f/a.txt", "hello\n"),
                                      file("b.bin", noise(1500)), file("f/c.txt", "the end\n")};

// Each has checksums of all its contents.
const DamageRow checkedRows[] = {
    {"d.tar.gz", ::archive_write_set_format_ustar, ::archive_write_add_filter_gzip, ""},
    {"d.tar.bz2", ::archive_write_set_format_ustar, ::archive_write_add_filter_bzip2, ""},
    {"d.tar.xz", ::archive_write_set_format_ustar, ::archive_write_add_filter_xz, ""},
    {"d.7z", ::archive_write_set_format_7zip, noFilter, ""},
    {"d.zip", ::archive_write_set_format_zip, noFilter, ""},
};

std::string bytesOf(const std::string& path, const DamageRow& row) {
  writeArchive(path, smallItems,
               {.format = row.format, .filter = row.filter, .options = row.options});
  std::string bytes = readFile(path);
  removeOne(path);
  return bytes;
}

// The distance between two places that a test damages, prime to the sizes of blocks.
std::size_t step(std::size_t least) {
  return isEverythingWanted() ? least : 4 * least + 1;
}

TEST_F(Damage, EveryCutIsTold) {
  const Tree whole = treeOf(smallItems);
  for (const DamageRow& row : checkedRows) {
    SCOPED_TRACE(row.archive);
    const std::string bytes = bytesOf(in(row.archive), row);
    EXPECT_EQ(extractDamaged(row.archive, bytes, whole), 0);
    for (std::size_t size = 0; size < bytes.size();
         size += size + 40 < bytes.size() ? step(97) : 1) {
      SCOPED_TRACE(size);
      EXPECT_EQ(extractDamaged(row.archive, bytes.substr(0, size), whole), 1);
    }
  }
}

struct WholeRar {
  std::string bytes;
  Tree contents;
};

// Three files in a RAR archive of one volume.
WholeRar wholeRar(bool isNewFormat) {
  const std::vector<RarFile> files = {
      {"a.txt", "hello\n"}, {"b.bin", noise(1500)}, {"c.txt", "the end\n"}};
  Tree contents;
  for (const RarFile& each : files) {
    contents[each.path] = "file " + each.contents;
  }
  return {makeRarVolumes(files, {.isNewFormat = isNewFormat, .dataPerVolume = 100'000}).front(),
          contents};
}

TEST_F(Damage, EveryCutOfRarIsTold) {
  for (const bool isNewFormat : {false, true}) {
    const auto& [bytes, whole] = wholeRar(isNewFormat);
    EXPECT_EQ(extractDamaged("d.rar", bytes, whole), 0);
    for (std::size_t size = 0; size < bytes.size();
         size += size + 40 < bytes.size() ? step(61) : 1) {
      SCOPED_TRACE(size);
      // The old format may end without an end marker, so truncation right before it is not noticed;
      // nothing is lost.
      constexpr std::size_t markSize = 7;
      const bool isBeforeMark = !isNewFormat && size == bytes.size() - markSize;
      EXPECT_EQ(extractDamaged("d.rar", bytes.substr(0, size), whole), isBeforeMark ? 0 : 1);
    }
  }
}

TEST_F(Damage, EveryCutOfATarArchiveIsTold) {
  // The last one ends where a block does, and in a line feed, as some whole archives do.
  std::vector<Item> items = smallItems;
  items.push_back(file("text", std::string(511, 'x') + '\n'));
  const Tree whole = treeOf(items);
  writeArchive(in("d.tar"), items, {.format = ::archive_write_set_format_ustar});
  const std::string bytes = readFile(in("d.tar"));
  const std::size_t end = 512 + 1024 + 512 + 1536 + 1024 + 1024;
  for (std::size_t size = 0; size < bytes.size(); size += 256) {
    SCOPED_TRACE(size);
    // After the start of the end marker nothing is lost.
    const bool hasMark = size >= end + 512 && size % 512 == 0;
    const int exitCode = extractDamaged("d.tar", bytes.substr(0, size), whole);
    if (size < end + 512 || hasMark) {
      EXPECT_EQ(exitCode, hasMark ? 0 : 1);
    }
  }
}

TEST_F(Damage, EveryChangedByteIsToldOrHarmless) {
  const Tree whole = treeOf(smallItems);
  for (const DamageRow& row : checkedRows) {
    if (row.archive == "d.zip") {
      continue;  // stores names twice, without a checksum
    }
    SCOPED_TRACE(row.archive);
    // If the checksum covers the whole stream, damage is only noticed at its end.
    isContentsChecked_ = row.archive == "d.7z";
    const std::string bytes = bytesOf(in(row.archive), row);
    for (std::size_t i = 0; i < bytes.size(); i += step(37)) {
      SCOPED_TRACE(i);
      std::string changed = bytes;
      changed[i] = static_cast<char>(changed[i] ^ 0x10);
      extractDamaged(row.archive, changed, whole);
    }
  }
}

TEST_F(Damage, ContentsOfRarFiles) {
  for (const bool isNewFormat : {false, true}) {
    const auto& [bytes, whole] = wholeRar(isNewFormat);
    for (std::size_t i = 0; i < bytes.size(); i += step(29)) {
      SCOPED_TRACE(i);
      std::string changed = bytes;
      changed[i] = static_cast<char>(changed[i] ^ 0x10);
      extractDamaged("d.rar", changed, whole);
    }
  }
}

TEST_F(Damage, ContentsOfAZipFile) {
  const DamageRow row{"d.zip", ::archive_write_set_format_zip, noFilter, "compression=store"};
  std::string bytes = bytesOf(in("d.zip"), row);
  bytes[bytes.find("hello")] = 'j';
  writeFile(in("d.zip"), bytes);
  const ProgramResult result = oxarchive({"extract", in("d.zip")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, in("d.zip") + " -> " + in("d") + ": 3 entries, 1.5 KB (incomplete)\n");
  EXPECT_TRUE(result.errors.starts_with("oxarchive: " + in("d.zip") + ": f/a.txt: ZIP bad CRC"))
      << result.errors;
  EXPECT_TRUE(result.errors.ends_with("\noxarchive: " + in("d.zip") +
                                      ": 1 of its entries could not be extracted; the folder " +
                                      in("d") + " is incomplete\n"))
      << result.errors;
  Tree tree = treeOf(smallItems);
  tree.erase("f/a.txt");
  EXPECT_EQ(treeOf(in("d")), tree);
  remove({"d.zip", "d"});
}

TEST_F(Damage, TheOnlyFileOfAnArchive) {
  // Its folder and those in it were made before the damage was noticed.
  const std::vector<Item> items = {file("deep/er/f", "some contents\n")};
  writeArchive(in("d.zip"), items,
               {.format = ::archive_write_set_format_zip, .options = "compression=store"});
  std::string bytes = readFile(in("d.zip"));
  bytes[bytes.find("some contents")] = 'S';
  writeFile(in("d.zip"), bytes);
  const ProgramResult result = oxarchive({"extract", in("d.zip")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_TRUE(
      result.errors.ends_with("oxarchive: " + in("d.zip") + ": nothing in it could be extracted\n"))
      << result.errors;
  EXPECT_EQ(names(), (std::vector<std::string>{"d.zip"}));

  // The destination is removed too, unless it existed before.
  ASSERT_TRUE(std::filesystem::create_directory(in("old")));
  for (const std::string into : {"new", "new/er/", "old/new", "old"}) {
    EXPECT_EQ(oxarchive({"extract", in("d.zip"), "--into", in(into)}).exitCode, 1);
    EXPECT_EQ(oxarchive({"extract", "d.zip", "--into", into}, {.folder = work()}).exitCode, 1);
    EXPECT_EQ(listing(work()), (std::vector<std::string>{"d.zip", "old"}));
  }
  remove({"d.zip", "old"});
}

TEST_F(Damage, WhatFollowsTheEnd) {
  // Too large for a single read.
  const std::string contents = noise(600'064);
  constexpr ArchiveFormat ustar = ::archive_write_set_format_ustar;
  writeArchive(in("a.tar"), {file("a", contents)}, {.format = ustar});
  writeArchive(in("b.tar"), {file("b")}, {.format = ustar});
  writeArchive(in("a.gz"), {file("a", contents)},
               {.format = ustar, .filter = ::archive_write_add_filter_gzip});
  writeArchive(in("a.cpio"), {file("a", contents)},
               {.format = ::archive_write_set_format_cpio_newc});
  const std::string tar = readFile(in("a.tar"));
  const std::string otherTar = readFile(in("b.tar"));
  const std::string gz = readFile(in("a.gz"));
  const std::string cpio = readFile(in("a.cpio"));
  remove({"a.tar", "b.tar", "a.gz", "a.cpio"});
  const std::string zeros(5000, '\0');
  struct Row {
    std::string bytes;
    std::string reason;  // "": it is accepted
  };
  const Row rows[] = {
      {tar + zeros, ""},
      {tar + otherTar, "more data follows its end mark"},
      {tar + zeros + "x", "more data follows its end mark"},
      {tar.substr(0, 512 + contents.size()), "it has no end mark, so it may have been cut short"},
      {gz + zeros, ""},
      {gz + "garbage", "other data follows its gzip data"},
      {gz + zeros + gz, "other data follows its gzip data"},
      {gz + gz, "more data follows its end mark"},
      {gz.substr(0, gz.size() - 8) + std::string(8, '\xAA'),
       "its gzip data is damaged: incorrect data check"},
      {gz.substr(0, gz.size() - 1), "its gzip data is cut short"},
      {cpio + zeros, ""},
      {cpio + "garbage", "more data follows its end mark"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.reason);
    writeFile(in("d.x"), row.bytes);
    const ProgramResult result = oxarchive({"extract", in("d.x")});
    EXPECT_EQ(result.exitCode, row.reason.empty() ? 0 : 1);
    EXPECT_EQ(result.errors, row.reason.empty()
                                 ? ""
                                 : "oxarchive: " + in("d.x") + ": " + row.reason + "; the folder " +
                                       in("d") + " is incomplete\n");
    EXPECT_TRUE(treeOf(in("d")) == (Tree{{"a", "file " + contents}}));
    remove({"d.x", "d"});
  }
}

TEST_F(Damage, WhatWasGoodComesFirstAtEverySize) {
  for (const std::size_t size : {std::size_t{10}, std::size_t{20'000}, std::size_t{600'064}}) {
    SCOPED_TRACE(size);
    const std::vector<Item> items = {file("a", noise(size)), file("b", noise(size + 2000, 2))};
    writeArchive(in("whole.gz"), items,
                 {.format = ::archive_write_set_format_ustar,
                  .filter = ::archive_write_add_filter_gzip,
                  .options = "gzip:compression-level=1"});
    const std::string gz = readFile(in("whole.gz"));
    struct Row {
      std::string bytes;
      std::string reason;
      std::size_t entries;
    };
    const Row rows[] = {
        {gz + "garbage", "other data follows its gzip data", 2},
        {gz.substr(0, gz.size() - 1), "its gzip data is cut short", 2},
        {gz.substr(0, gz.size() - 8) + std::string(8, '\xAA'),
         "its gzip data is damaged: incorrect data check", 2},
        // In the second file.
        {gz.substr(0, gz.size() - 1000 - size / 2), "its gzip data is cut short", 1},
    };
    for (const Row& row : rows) {
      SCOPED_TRACE(row.reason);
      writeFile(in("d.tar.gz"), row.bytes);
      const ProgramResult result = oxarchive({"extract", in("d.tar.gz")});
      EXPECT_EQ(result.exitCode, 1);
      EXPECT_EQ(result.errors, "oxarchive: " + in("d.tar.gz") + ": " + row.reason +
                                   "; the folder " + in("d") + " is incomplete\n");
      Tree tree = treeOf(items);
      if (row.entries == 1) {
        tree.erase("b");
      }
      EXPECT_TRUE(treeOf(in("d")) == tree);
      const ProgramResult listed = oxarchive({"list", in("d.tar.gz")});
      EXPECT_EQ(listed.exitCode, 1);
      EXPECT_NE(listed.output.find("\nTotal: 2 entries, "), std::string::npos) << listed.output;
      EXPECT_EQ(listed.errors, "oxarchive: " + in("d.tar.gz") + ": " + row.reason +
                                   "; the listing is incomplete\n");
      remove({"d", "d.tar.gz"});
    }
    remove({"whole.gz"});
  }
}

TEST_F(Damage, FormatsThatAreNotReadAreNamed) {
  using namespace std::string_literals;
  struct Row {
    std::string bytes;
    std::string reason;
  };
  const Row rows[] = {
      {"\x60\xEA"s + std::string(100, 'x'),
       "an ARJ archive, which is not supported; 7-Zip and arj"},
      {"1234567**ACE**", "an ACE archive, which is not supported; unace"},
      {"MSWIM\0\0\0"s, "a Windows image (WIM), which is not supported; 7-Zip and wimlib"},
      {"LRZI\0"s, "compressed by lrzip, which is not supported; lrunzip"},
      {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1",
       "an OLE file, as installers (MSI) are, which is not supported; 7-Zip and msitools"},
      {"hsqs", "a SquashFS image, which is not supported; unsquashfs"},
      {"7kSt", "a ZPAQ archive, which is not supported; zpaq"},
      {"zPQ", "a ZPAQ archive, which is not supported; zpaq"},
      {"ITSF", "a Windows help file (CHM), which is not supported; 7-Zip"},
      {std::string(20, 'x') + "\xDC\xA7\xC4\xFD", "a Zoo archive, which is not supported; zoo"},
      {"\0\0\0\x7B"s, "a Disk ARchive (dar), which is not supported; dar"},
      {"-----BEGIN PGP MESSAGE-----\n", "encrypted by OpenPGP, which is not supported; gpg"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.reason);
    writeFile(in("x.bin"), row.bytes);
    for (const std::string command : {"list", "extract"}) {
      const ProgramResult result = oxarchive({command, in("x.bin")});
      EXPECT_EQ(result.exitCode, 1);
      EXPECT_EQ(result.output, "");
      EXPECT_TRUE(result.errors.starts_with("oxarchive: " + in("x.bin") + ": it is " + row.reason))
          << result.errors;
      EXPECT_EQ(std::ranges::count(result.errors, '\n'), 1);
    }
  }
  remove({"x.bin"});
}

TEST_F(Damage, ThatLeavesNothingOfACompression) {
  for (const ArchiveFilter filter :
       {::archive_write_add_filter_bzip2, ::archive_write_add_filter_xz,
        ::archive_write_add_filter_lzma, ::archive_write_add_filter_lzip,
        ::archive_write_add_filter_zstd, ::archive_write_add_filter_lz4}) {
    writeArchive(in("whole"), {file("f")}, {.filter = filter});
    writeFile(in("x.tar"), readFile(in("whole")).substr(0, 60));
    const std::string reason = "its compressed data is empty, damaged or cut short\n";
    const ProgramResult result = oxarchive({"extract", in("x.tar")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.errors, "oxarchive: " + in("x.tar") + ": " + reason);
    remove({"whole", "x.tar"});
  }
}

TEST_F(Damage, MethodsThatAreNotReadAreNamed) {
  writeArchive(in("x.zip"), {file("f"), file("g")},
               {.format = ::archive_write_set_format_zip, .options = "compression=store"});
  std::string bytes = readFile(in("x.zip"));
  constexpr char deflate64 = 9;
  bytes[8] = deflate64;
  bytes[bytes.find("PK\1\2") + 10] = deflate64;
  writeFile(in("x.zip"), bytes);
  const ProgramResult result = oxarchive({"extract", in("x.zip")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.errors.find(": f: Unsupported ZIP compression method (9: "), std::string::npos)
      << result.errors;
  EXPECT_NE(result.errors.find("; 7-Zip may read it\n"), std::string::npos) << result.errors;
  EXPECT_EQ(treeOf(in("x")), (Tree{{"g", "file contents"}}));
  remove({"x.zip", "x"});
}

// Archives that are complete but do not look so.
class Whole : public Damage {
 protected:
  void expectWhole(const std::string& archive, const std::string& bytes, const Tree& tree) {
    EXPECT_EQ(extractDamaged(archive, bytes, tree), 0);
    writeFile(in(archive), bytes);
    const ProgramResult listed = oxarchive({"list", in(archive)});
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_EQ(listed.errors, "");
    remove({archive});
  }

  // A tar archive without its end marker.
  std::string tarWithoutEnd(const std::vector<Item>& items) {
    writeArchive(in("t.tar"), items, {.format = ::archive_write_set_format_ustar});
    std::string bytes = readFile(in("t.tar"));
    removeOne(in("t.tar"));
    bytes.resize(bytes.size() - 1024);
    return bytes;
  }
};

TEST_F(Whole, TarWithAShortEndMarkOrALineFeed) {
  const std::string entries = tarWithoutEnd(smallItems);
  const auto blocks = [](std::size_t count) { return std::string(count * 512, '\0'); };
  for (const std::string& end :
       {blocks(1), std::string("\n"), blocks(1) + "\n", blocks(2) + "\n", blocks(3)}) {
    SCOPED_TRACE(testing::PrintToString(end));
    expectWhole("d.tar", entries + end, treeOf(smallItems));
  }
  EXPECT_EQ(extractDamaged("d.tar", entries + "x", treeOf(smallItems)), 1);
  EXPECT_EQ(extractDamaged("d.tar", entries + blocks(1) + "\nx", treeOf(smallItems)), 1);
}

TEST_F(Whole, HolesInTarAsSolarisWritesThem) {
  const std::string contents =
      std::string(512, 'a') + std::string(512, '\0') + std::string(512, 'c');
  std::string bytes = tarWithoutEnd({file("PaxHeaders/hole", "34 SUN.holesdata= 0 512 1024 1536\n"),
                                     file("hole", contents), file("after")});
  std::string header = bytes.substr(0, 512);
  header[156] = 'x';
  setTarCheckSum(header);
  bytes.replace(0, header.size(), header);
  expectWhole("d.tar", bytes + std::string(1024, '\0'),
              {{"hole", "file " + contents}, {"after", "file contents"}});
}

TEST_F(Whole, ZipWithSomethingBeforeIt) {
  writeArchive(in("t.zip"), smallItems, {.format = ::archive_write_set_format_zip});
  const std::string bytes = readFile(in("t.zip"));
  removeOne(in("t.zip"));
  for (const std::string& before :
       {std::string(700, '\0'), noise(5000), std::string("PK00"), "PK\5\6" + std::string(18, '\0'),
        std::string("\x1F\x8B\x08\xFF padding")}) {
    SCOPED_TRACE(testing::PrintToString(before.substr(0, 20)));
    expectWhole("d.zip", before + bytes, treeOf(smallItems));
  }
}

TEST_F(Whole, CompressedFilesInAnImageThatEndInHoles) {
  const std::string xorriso = findProgram({"xorriso"});
  if (xorriso.empty()) {
    GTEST_SKIP() << "xorriso is not installed";
  }
  const std::string tail = std::string(40'000, 'x') + std::string(100'000, '\0');
  const std::string hole(100'000, '\0');
  ASSERT_TRUE(std::filesystem::create_directory(in("z")));
  writeFile(in("z/hole"), hole);
  writeFile(in("z/tail"), tail);
  const ProgramResult packed = runProgram(
      xorriso,
      {"-outdev", "t.iso", "-map", "z", "/", "-set_filter_r", "--zisofs", "/", "--", "-commit"},
      {.folder = work()});
  ASSERT_EQ(packed.exitCode, 0) << packed.errors;
  const std::string bytes = readFile(in("t.iso"));
  remove({"z", "t.iso"});
  expectWhole("d.iso", bytes, {{"hole", "file " + hole}, {"tail", "file " + tail}});
}

TEST_F(Damage, GzipInSeveralMembers) {
  writeArchive(in("d.tar"), smallItems, {.format = ::archive_write_set_format_ustar});
  const ProgramResult packed = runProgram(
      "sh",
      {"-c", "head -c 1000 d.tar | gzip > d.tar.gz && tail -c +1001 d.tar | gzip >> d.tar.gz"},
      {.folder = work()});
  ASSERT_EQ(packed.exitCode, 0) << packed.errors;
  const ProgramResult result = oxarchive({"extract", in("d.tar.gz")});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(treeOf(in("d")), treeOf(smallItems));
  remove({"d.tar", "d.tar.gz", "d"});
}

TEST_F(Damage, AZipFileWithAProgramBeforeIt) {
  writeArchive(in("d.zip"), smallItems, {.format = ::archive_write_set_format_zip});
  writeFile(in("d.zip"), "#!/bin/sh\nexit 1\n" + noise(2000) + readFile(in("d.zip")));
  const ProgramResult result = oxarchive({"extract", in("d.zip")});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(treeOf(in("d")), treeOf(smallItems));
  remove({"d.zip", "d"});
}

const std::string onlyZip = "only ZIP archives can be decrypted; 7-Zip decrypts others";

class Encrypted : public Damage {
 protected:
  void expectRefused(const std::string& archive, const std::string& reason = onlyZip) {
    const std::vector<std::string> before = names();
    const ProgramResult result = oxarchive({"extract", in(archive)});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              "oxarchive: " + in(archive) + ": it is encrypted, and " + reason + "\n");
    EXPECT_EQ(names(), before);
  }

  // One entry is encrypted; all others are extracted to `folder`.
  void expectRest(const std::string& archive, const std::string& folder, const Tree& rest,
                  const std::string& reason = onlyZip) {
    const ProgramResult result = oxarchive({"extract", in(archive)});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.errors, "oxarchive: " + in(archive) +
                                 ": 1 of its entries cannot be read: it is encrypted, and " +
                                 reason + "; the folder " + in(folder) + " is incomplete\n");
    EXPECT_EQ(treeOf(in(folder)), rest);
    remove({folder});
  }
};

TEST_F(Encrypted, OneWrongPasswordHidesNoOtherEntry) {
  const std::string sevenZip = findProgram({"7zz", "7z", "7za"});
  if (sevenZip.empty()) {
    GTEST_SKIP() << "7-Zip is not installed";
  }
  for (const std::string name : {"one", "two", "three"}) {
    writeFile(in(name), "contents");
    // The default of 7-Zip takes one wrong password of 256 for the right one.
    EXPECT_EQ(
        runProgram(sevenZip, {"a", "-bso0", "-bsp0", "-mem=AES256", "-p" + name, "e.zip", name},
                   {.folder = work()})
            .exitCode,
        0);
  }
  const ScopedEnvironment password("OX_TEST_PASSWORD", "two");
  const ProgramResult result =
      oxarchive({"extract", in("e.zip"), "--password-env", "OX_TEST_PASSWORD"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.errors,
            "oxarchive: " + in("e.zip") +
                ": 2 of its entries cannot be read: the password is wrong; the folder " + in("e") +
                " is incomplete\n");
  EXPECT_EQ(treeOf(in("e")), (Tree{{"two", "file contents"}}));
  remove({"one", "two", "three", "e.zip", "e"});
}

TEST_F(Encrypted, AndOthersThatFail) {
  writeFile(in("x.rar"),
            makeRarVolumes({{"a", "contents"}, {"b", "cipher text", true}, {"../c", "contents"}})
                .front());
  const std::string label = "oxarchive: " + in("x.rar") + ": ";
  EXPECT_EQ(oxarchive({"extract", in("x.rar")}).errors,
            label + "../c: its path leads out of the folder: it has \"..\"\n" + label +
                "1 of its entries cannot be read: it is encrypted, and " + onlyZip + "\n" + label +
                "2 of its entries could not be extracted; the folder " + in("x") +
                " is incomplete\n");
  remove({"x.rar", "x"});
}

TEST_F(Encrypted, Zip) {
  for (const std::string method : {"traditional", "aes128", "aes256"}) {
    SCOPED_TRACE(method);
    writeArchive(in("e.zip"), smallItems,
                 {.format = ::archive_write_set_format_zip,
                  .options = "encryption=" + method,
                  .passphrase = "secret"});
    expectRefused("e.zip", "no password is given");
  }
  remove({"e.zip"});
}

TEST_F(Encrypted, SevenZip) {
  const std::string sevenZip = findProgram({"7zz", "7z", "7za"});
  if (sevenZip.empty()) {
    GTEST_SKIP() << "7-Zip is not installed";
  }
  ASSERT_TRUE(std::filesystem::create_directories(in("p/empty folder")));
  writeFile(in("p/f"), "contents");
  writeFile(in("p/empty"));
  writeFile(in("secret"), "contents");
  const auto pack = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"a", "-bso0", "-bsp0"});
    EXPECT_EQ(runProgram(sevenZip, arguments, {.folder = work()}).exitCode, 0);
  };
  pack({"-psecret", "names.7z", "p"});
  pack({"-psecret", "-mhe=on", "all.7z", "p"});
  // The unencrypted entry comes first, and must be removed.
  pack({"some.7z", "p"});
  pack({"-psecret", "some.7z", "secret"});
  pack({"some.zip", "p"});
  pack({"-psecret", "some.zip", "secret"});
  for (const std::string archive : {"names.7z", "all.7z"}) {
    SCOPED_TRACE(archive);
    expectRefused(archive);
  }
  const Tree rest = {{"p", "folder"},
                     {"p/empty folder", "folder"},
                     {"p/empty", "file "},
                     {"p/f", "file contents"}};
  expectRest("some.7z", "some", rest);
  expectRest("some.zip", "some", rest, "no password is given");
  remove({"p", "secret", "names.7z", "all.7z", "some.7z", "some.zip"});
}

TEST_F(Damage, OfARarExtraRecordThatLeadsBackToItsStart) {
  const RarFile endless{.path = "a", .contents = "contents", .hasEndlessExtra = true};
  writeFile(in("x.rar"), makeRarVolumes({endless}, {.isNewFormat = true}).front());
  const ProgramResult listed = oxarchive({"list", in("x.rar"), "--patience", "5"});
  EXPECT_EQ(listed.errors.find("no progress"), std::string::npos) << listed.errors;
  remove({"x.rar"});
}

TEST_F(Encrypted, Rar) {
  const std::vector<RarFile> plain = {{"a", "contents"}};
  const std::vector<RarFile> mixed = {
      {"a", "contents"}, {"b", "cipher text", true}, {"c", "contents"}};
  for (const bool isNewFormat : {false, true}) {
    writeFile(in("some.rar"), makeRarVolumes(mixed, {.isNewFormat = isNewFormat}).front());
    expectRest("some.rar", "some", {{"a", "file contents"}, {"c", "file contents"}});
    const ProgramResult listed = oxarchive({"list", in("some.rar")});
    EXPECT_EQ(listed.exitCode, 0) << listed.errors;
    EXPECT_NE(listed.output.find("\n-e "), std::string::npos) << listed.output;
    EXPECT_NE(listed.output.find("\nTotal: 3 entries, "), std::string::npos) << listed.output;
    writeFile(in("b.rar"), makeRarVolumes({mixed[1]}, {.isNewFormat = isNewFormat}).front());
    expectRefused("b.rar");
    writeFile(
        in("all.rar"),
        makeRarVolumes(plain, {.isNewFormat = isNewFormat, .hasEncryptedHeaders = true}).front());
    expectRefused("all.rar");
  }
  remove({"some.rar", "b.rar", "all.rar"});
}

}  // namespace

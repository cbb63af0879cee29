// SPDX-License-Identifier: MIT

// Archives that try to write outside of their extraction folder.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "OxarchiveTest.h"

namespace {

using namespace ox::test;

class Hostile : public OxarchiveTest {
 protected:
  // "outside" is beside the extraction folder.
  void SetUp() override {
    ASSERT_TRUE(std::filesystem::create_directory(in("outside")));
    writeFile(in("outside/secret"), "untouched");
    before_ = treeOf(in("outside"));
  }

  // Extracts `items` and returns the result. Exactly `refused` must be reported. `leading` are the
  // links that lead out of the folder, which are counted.
  Tree extract(const std::vector<Item>& items, const std::vector<std::string>& refused,
               const ArchiveOptions& options = {}, const std::set<std::string>& leading = {}) {
    writeArchive(in("h.x"), items, options);
    const ProgramResult result = oxarchive({"extract", in("h.x")});
    const bool hasFolder = exists(in("h"));
    Tree tree = treeOf(in("h"));
    EXPECT_EQ(result.exitCode, refused.empty() ? 0 : 1) << result.errors;
    for (const std::string& path : refused) {
      EXPECT_NE(result.errors.find("oxarchive: " + in("h.x") + ": " + path + ": "),
                std::string::npos)
          << path << " is not in: " << result.errors;
    }
    // One more line says that the folder is incomplete, or that there is none.
    std::size_t lines = refused.empty() ? 0 : refused.size() + 1;
    const bool hasAbsoluteName =
        std::ranges::any_of(items, [](const Item& item) { return item.path.starts_with('/'); });
    lines += hasAbsoluteName ? 1U : 0U;
    EXPECT_EQ(result.errors.find(": its absolute paths are extracted below the new folder\n") !=
                  std::string::npos,
              hasAbsoluteName);
    lines += leading.empty() ? 0U : 1U;
    EXPECT_EQ(result.errors.find("oxarchive: " + in("h.x") + ": " + std::to_string(leading.size()) +
                                 " of the links in it lead out of the folder " + in("h") + "\n") !=
                  std::string::npos,
              !leading.empty())
        << result.errors;
    EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(result.errors, '\n')), lines)
        << result.errors;
    // An empty folder is made only for an archive without entries.
    EXPECT_EQ(hasFolder, refused.size() < items.size());
    EXPECT_EQ(treeOf(in("outside")), before_);
    EXPECT_EQ(names(), hasFolder ? (std::vector<std::string>{"h", "h.x", "outside"})
                                 : (std::vector<std::string>{"h.x", "outside"}));
    expectNothingLeadsOut(leading);
    if (hasFolder) {
      remove({"h"});
    }
    remove({"h.x"});
    return tree;
  }

  void TearDown() override {
    remove({"outside"});
    OxarchiveTest::TearDown();
  }

 private:
  // Follows every link in the folder.
  void expectNothingLeadsOut(const std::set<std::string>& leading) {
    const std::string top = in("h") + "/";
    for (const std::string& name : listing(in("h"))) {
      const std::string path = top + name;
      if (std::filesystem::is_symlink(path)) {
        const std::filesystem::path parent = std::filesystem::path(path).parent_path();
        const std::string target =
            std::filesystem::weakly_canonical(parent / std::filesystem::read_symlink(path))
                .string() +
            "/";
        EXPECT_EQ(target.starts_with(top), !leading.contains(name))
            << path << " leads to " << target;
      }
    }
  }

  Tree before_;
};

TEST_F(Hostile, NamesThatLeadOut) {
  const std::vector<std::string> paths = {
      "../outside/new",  "a/../../outside/new", "./../outside/new", "a/..", "a/../b", "..",
      "/../outside/new",
  };
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    EXPECT_EQ(extract({file(path)}, {path}), Tree());
    EXPECT_EQ(extract({file("ok"), file(path), file("after")}, {path}),
              (Tree{{"ok", "file contents"}, {"after", "file contents"}}));
    // Other formats store names in other ways.
    for (const ArchiveFormat format : {ArchiveFormat(::archive_write_set_format_gnutar),
                                       ArchiveFormat(::archive_write_set_format_cpio_newc),
                                       ArchiveFormat(::archive_write_set_format_zip)}) {
      EXPECT_EQ(extract({file(path), file("after")}, {path}, {.format = format}),
                (Tree{{"after", "file contents"}}));
    }
  }
}

TEST_F(Hostile, AbsoluteNamesStartAtTheFolder) {
  const std::string outside = in("outside/new");
  Tree tree = treeOf({file(outside.substr(1))});
  for (const ArchiveFormat format : {ArchiveFormat(::archive_write_set_format_gnutar),
                                     ArchiveFormat(::archive_write_set_format_cpio_newc),
                                     ArchiveFormat(::archive_write_set_format_zip)}) {
    EXPECT_EQ(extract({file(outside)}, {}, {.format = format}), tree);
    EXPECT_EQ(extract({file("//" + outside), file("/after")}, {}, {.format = format}),
              treeOf({file(outside.substr(1)), file("after")}));
  }
  EXPECT_EQ(extract({folder(in("outside/new/")), file("/f"), hardLink("/g", "/f")}, {}),
            treeOf({folder(outside.substr(1)), file("f"), file("g")}));
}

TEST_F(Hostile, FoldersAndLinksThatLeadOut) {
  EXPECT_EQ(extract({folder("../outside/new/")}, {"../outside/new/"}), Tree());
  EXPECT_EQ(extract({symbolicLink("../outside/new", "x"), hardLink("../outside/new2", "x")},
                    {"../outside/new", "../outside/new2"}),
            Tree());
}

TEST_F(Hostile, HarmlessNames) {
  EXPECT_EQ(extract({folder("./"), file("./a"), file("b//c"), file("..d"), file("e/./f"),
                     file("g\\..\\h"), file("C:/i")},
                    {}),
            (Tree{{"a", "file contents"},
                  {"b", "folder"},
                  {"b/c", "file contents"},
                  {"..d", "file contents"},
                  {"e", "folder"},
                  {"e/f", "file contents"},
                  {"g\\..\\h", "file contents"},
                  {"C:", "folder"},
                  {"C:/i", "file contents"}}));
}

TEST_F(Hostile, LinksThatLeadOut) {
  const std::vector<std::string> targets = {
      in("outside"),     "/",          "../outside", "..", "./../outside", "a/../../outside",
      "x/../../outside", "/etc/passwd"};
  for (const std::string& target : targets) {
    SCOPED_TRACE(target);
    const std::string link = "link to " + target;
    // Made last, so that nothing is written through it.
    EXPECT_EQ(extract({symbolicLink("l", target), file("l/new")}, {"l/new"}, {}, {"l"}),
              (Tree{{"l", link}}));
    EXPECT_EQ(extract({symbolicLink("l", target), file("after")}, {},
                      {.format = ::archive_write_set_format_zip}, {"l"}),
              (Tree{{"after", "file contents"}, {"l", link}}));
    EXPECT_EQ(extract({symbolicLink("l", target), hardLink("m", "l"), hardLink("l", "l")}, {}, {},
                      {"l", "m"}),
              (Tree{{"l", link}, {"m", link}}));
    // A later entry replaces it.
    EXPECT_EQ(extract({symbolicLink("l", target), file("l", "no link")}, {}),
              (Tree{{"l", "file no link"}}));
    EXPECT_EQ(extract({symbolicLink("l", target), folder("l/"), file("l/f")}, {}),
              (Tree{{"l", "folder"}, {"l/f", "file contents"}}));
    EXPECT_EQ(extract({symbolicLink("l", target), symbolicLink("l", "inside")}, {}),
              (Tree{{"l", "link to inside"}}));
    EXPECT_EQ(
        extract({file("l"), symbolicLink("l", "inside"), symbolicLink("l", target)}, {}, {}, {"l"}),
        (Tree{{"l", link}}));
  }
}

TEST_F(Hostile, LinksThatMayLeadOut) {
  // Only known once everything is extracted.
  EXPECT_EQ(extract({folder("d/"), file("f"), symbolicLink("l", "d/../f")}, {}),
            (Tree{{"d", "folder"}, {"f", "file contents"}, {"l", "link to d/../f"}}));
  EXPECT_EQ(extract({symbolicLink("l", "missing/../f")}, {}),
            (Tree{{"l", "link to missing/../f"}}));
}

TEST_F(Hostile, LinksOverLinks) {
  // Each one alone is harmless.
  const std::string out = "here/here/here/../../../outside";
  EXPECT_EQ(extract({folder("d/"), symbolicLink("d/here", "."), symbolicLink("d/out", out),
                     file("d/out/f")},
                    {"d/out/f"}, {}, {"d/out"}),
            (Tree{{"d", "folder"}, {"d/here", "link to ."}, {"d/out", "link to " + out}}));
  EXPECT_EQ(extract({folder("a/"), folder("a/b/"), symbolicLink("deep", "a/b"),
                     symbolicLink("out", "deep/../../../outside")},
                    {}, {}, {"out"}),
            (Tree{{"a", "folder"},
                  {"a/b", "folder"},
                  {"deep", "link to a/b"},
                  {"out", "link to deep/../../../outside"}}));
  // A link through another one that stays inside.
  EXPECT_EQ(extract({folder("a/"), symbolicLink("a/top", ".."), symbolicLink("b", "a/top/a"),
                     file("a/f")},
                    {}),
            (Tree{{"a", "folder"},
                  {"a/top", "link to .."},
                  {"b", "link to a/top/a"},
                  {"a/f", "file contents"}}));
}

TEST_F(Hostile, LinksThroughLinksThatLeadOut) {
  const std::string out = in("outside");
  EXPECT_EQ(extract({symbolicLink("a", "out/secret"), symbolicLink("out", out), folder("d/"),
                     symbolicLink("d/b", "../out"), symbolicLink("e", "a"), symbolicLink("in", "d"),
                     symbolicLink("gone", "out"), file("gone"), hardLink("f", "a")},
                    {}, {}, {"a", "d/b", "e", "f", "out"}),
            (Tree{{"a", "link to out/secret"},
                  {"d", "folder"},
                  {"d/b", "link to ../out"},
                  {"e", "link to a"},
                  {"f", "link to out/secret"},
                  {"gone", "file contents"},
                  {"in", "link to d"},
                  {"out", "link to " + out}}));
  // Links in a circle lead nowhere.
  writeArchive(in("h.x"), {symbolicLink("a", "b"), symbolicLink("b", "a"), symbolicLink("c", out)});
  EXPECT_EQ(oxarchive({"extract", in("h.x")}).errors,
            "oxarchive: " + in("h.x") + ": 1 of the links in it lead out of the folder " + in("h") +
                "\n");
  remove({"h", "h.x"});
}

// One that cannot be made keeps no other from being made.
TEST_F(Hostile, LinksThatAreTooLong) {
  const std::string longTarget = "/" + std::string(5000, 'x');
  const ArchiveOptions options{.format = ::archive_write_set_format_gnutar};
  EXPECT_EQ(
      extract({file("ok"), symbolicLink("a", "/etc/passwd"), symbolicLink("b", longTarget),
               symbolicLink("c", "/etc/passwd"), symbolicLink("d", longTarget.substr(1))},
              {"b", "d"}, options, {"a", "c"}),
      (Tree{{"a", "link to /etc/passwd"}, {"c", "link to /etc/passwd"}, {"ok", "file contents"}}));
  // Nothing else is in the archive.
  EXPECT_EQ(extract({symbolicLink("b", longTarget)}, {"b"}, options), Tree());
  writeArchive(in("h.x"), {file("ok"), symbolicLink("b", longTarget)}, options);
  EXPECT_EQ(oxarchive({"extract", in("h.x")}).output,
            in("h.x") + " -> " + in("h") + ": 1 entry, 8 B (incomplete)\n");
  remove({"h", "h.x"});
}

TEST_F(Hostile, NothingIsWrittenThroughALink) {
  // Not even through a link that stays inside: it could be replaced meanwhile.
  EXPECT_EQ(extract({folder("d/"), symbolicLink("l", "d"), file("l/f"), file("l/e/f"),
                     symbolicLink("l/g", "x"), hardLink("l/h", "d"), folder("l/i/")},
                    {"l/f", "l/e/f", "l/g", "l/h", "l/i/"}),
            (Tree{{"d", "folder"}, {"l", "link to d"}}));
  EXPECT_EQ(extract({file("f"), symbolicLink("l", "f"), file("l", "new")}, {}),
            (Tree{{"f", "file contents"}, {"l", "file new"}}));
}

TEST_F(Hostile, AFileIsNoFolder) {
  EXPECT_EQ(extract({file("f"), file("f/g")}, {"f/g"}), (Tree{{"f", "file contents"}}));
  EXPECT_EQ(extract({folder("d/"), file("d/x"), file("d")}, {"d"}),
            (Tree{{"d", "folder"}, {"d/x", "file contents"}}));
  EXPECT_EQ(extract({folder("d/"), symbolicLink("d", "x")}, {"d"}), (Tree{{"d", "folder"}}));
}

TEST_F(Hostile, HardLinksToWhatIsOutside) {
  const std::vector<std::string> targets = {
      in("outside/secret"), "../outside/secret", "a/../../outside/secret", "missing", "..", "."};
  for (const std::string& target : targets) {
    SCOPED_TRACE(target);
    EXPECT_EQ(extract({file("ok"), hardLink("l", target)}, {"l"}), (Tree{{"ok", "file contents"}}));
  }
}

// Makes the entry `path` of a tar archive a hard link that has data.
void turnIntoHardLink(const std::string& archive, const std::string& path,
                      const std::string& target) {
  std::string bytes = readFile(archive);
  for (std::size_t start = 0; start + 512 <= bytes.size(); start += 512) {
    std::string header = bytes.substr(start, 512);
    if (header.substr(0, 100) != path + std::string(100 - path.size(), '\0') ||
        header[156] != '0') {
      continue;
    }
    header[156] = '1';
    header.replace(157, 100, target + std::string(100 - target.size(), '\0'));
    setTarCheckSum(header);
    bytes.replace(start, 512, header);
    writeFile(archive, bytes);
    return;
  }
  FAIL() << path << " is not in " << archive;
}

TEST_F(Hostile, HardLinksWithData) {
  struct Row {
    std::string target;
    Tree tree;
  };
  const Row rows[] = {
      {"ok", {{"ok", "file overwritten"}, {"l", "file overwritten"}, {"s", "link to ok"}}},
      {"./ok", {{"ok", "file overwritten"}, {"l", "file overwritten"}, {"s", "link to ok"}}},
      {"../outside/secret", {{"ok", "file contents"}, {"s", "link to ok"}}},
      {"missing", {{"ok", "file contents"}, {"s", "link to ok"}}},
      // Becomes a symbolic link itself; its target is not written to.
      {"s", {{"ok", "file contents"}, {"l", "link to ok"}, {"s", "link to ok"}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.target);
    writeArchive(in("h.x"), {file("ok"), symbolicLink("s", "ok"), file("l", "overwritten")},
                 {.format = ::archive_write_set_format_pax});
    turnIntoHardLink(in("h.x"), "l", row.target);
    const ProgramResult result = oxarchive({"extract", in("h.x")});
    EXPECT_EQ(result.exitCode, row.tree.contains("l") ? 0 : 1) << result.errors;
    EXPECT_EQ(treeOf(in("h")), row.tree);
    remove({"h", "h.x"});
  }
}

TEST_F(Hostile, HardLinksThroughAndToLinks) {
  EXPECT_EQ(extract({folder("d/"), file("d/f"), symbolicLink("l", "d"), hardLink("x", "l/f"),
                     hardLink("y", "d")},
                    {"x", "y"}),
            (Tree{{"d", "folder"}, {"d/f", "file contents"}, {"l", "link to d"}}));
  // "../../x" is inside only for the link's original path.
  EXPECT_EQ(extract({folder("a/"), folder("a/b/"), symbolicLink("a/b/l", "../../x"),
                     hardLink("l", "a/b/l"), hardLink("a/c", "a/b/l"), hardLink("a/b/m", "a/b/l")},
                    {}, {}, {"l", "a/c"}),
            (Tree{{"a", "folder"},
                  {"a/b", "folder"},
                  {"a/b/l", "link to ../../x"},
                  {"a/b/m", "link to ../../x"},
                  {"a/c", "link to ../../x"},
                  {"l", "link to ../../x"}}));
}

TEST_F(Hostile, AHardLinkToItself) {
  EXPECT_EQ(extract({file("f"), hardLink("f", "f"), hardLink("./f", "f")}, {}),
            (Tree{{"f", "file contents"}}));
}

TEST_F(Hostile, DevicesPipesAndSockets) {
  std::vector<Item> items = {file("ok")};
  std::vector<std::string> refused;
  for (const mode_t type : {mode_t{S_IFCHR}, mode_t{S_IFBLK}, mode_t{S_IFIFO}}) {
    Item item = file("n" + std::to_string(type), "");
    item.type = type;
    items.push_back(item);
    refused.push_back(item.path);
  }
  EXPECT_EQ(extract(items, refused), (Tree{{"ok", "file contents"}}));
}

TEST_F(Hostile, NamesThatAreTooLong) {
  const std::string component(256, 'n');
  std::string deep;
  while (deep.size() < 5000) {
    deep += "deep/";
  }
  EXPECT_EQ(extract({file("ok"), file(component), file(component + "/f"), file(deep + "f")},
                    {component, component + "/f", deep + "f"},
                    {.format = ::archive_write_set_format_gnutar}),
            (Tree{{"ok", "file contents"}}));
}

TEST_F(Hostile, DeepFolders) {
  std::string path;
  std::vector<Item> items;
  for (int i = 0; i < 300; ++i) {
    path += "d/";
  }
  items.push_back(file(path + "f"));
  items.push_back(folder(path, 0500));
  writeArchive(in("h.x"), items, {.format = ::archive_write_set_format_gnutar});
  const ProgramResult result = oxarchive({"extract", in("h.x")});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(readFile(in("h/" + path + "f")), "contents");
  // If nothing in an archive can be used, the folders made for it are removed.
  writeArchive(in("i.x"), {file(path + "f", noise(100'000))},
               {.format = ::archive_write_set_format_gnutar});
  std::filesystem::resize_file(in("i.x"), 60'000);
  EXPECT_EQ(oxarchive({"extract", in("i.x")}).exitCode, 1);
  EXPECT_EQ(names(), (std::vector<std::string>{"h", "h.x", "i.x", "outside"}));
  remove({"h", "h.x", "i.x"});
}

}  // namespace

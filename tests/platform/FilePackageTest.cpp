#include "platform/FilePackage.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/ObservedSystem.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace ox::test;

struct PackageRow {
  std::string name;
  bool isPackage;
};

const PackageRow rows[] = {
    {"Tool.app", true},        {"Tool.APP", true},      {"Tool.aPp", true},   {"Tool.app/", true},
    {"x.bundle", true},        {"x.pkg", true},         {"x.mpkg", true},     {"x.rtfd", true},
    {"x.plugin", true},        {"x.xcodeproj", true},   {"x.prefPane", true}, {"x.AppDir", true},
    {"x.dSYM", true},          {"a.zip.app", true},     {"Tool", false},      {"app", false},
    {".app", false},           {"Tool.app.zip", false}, {"Tool.ap", false},   {"Tool.apps", false},
    {"Tool.framework", false}, {"Tool.", false},        {"", false},          {"x.zip", false},
    {"x.tar", false},          {"x.d", false},          {"Tool.app ", false},
};

class FilePackage : public TemporaryFolderTest {};

TEST_F(FilePackage, IsAFolderWithSuchAnExtension) {
  for (const PackageRow& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(ox::hasPackageExtension(row.name), row.isPackage);
    if (row.name.empty()) {
      continue;
    }
    std::filesystem::create_directory(in(row.name));
    EXPECT_EQ(ox::isFilePackage(ox::PathBuffer(in(row.name))), row.isPackage);
    std::filesystem::remove(in(row.name));
  }
}

TEST_F(FilePackage, IsNeitherAFileNorMissing) {
  writeFile(in("file.app"));
  EXPECT_FALSE(ox::isFilePackage(ox::PathBuffer(in("file.app"))));
  EXPECT_FALSE(ox::isFilePackage(ox::PathBuffer(in("missing.app"))));
  EXPECT_FALSE(ox::isFilePackage(ox::PathBuffer(in(std::string("a\0.app", 6)))));
  removeOne(in("file.app"));
}

TEST_F(FilePackage, MayBeReachedByALink) {
  std::filesystem::create_directory(in("folder"));
  std::filesystem::create_directory_symlink("folder", in("link.app"));
  EXPECT_TRUE(ox::isFilePackage(ox::PathBuffer(in("link.app"))));
  removeOne(in("link.app"));
  removeOne(in("folder"));
}

TEST_F(FilePackage, IsAskedOfTheDiskOnlyWhenTheNameFits) {
  const ObservedSystem system;
  EXPECT_FALSE(ox::isFilePackage(ox::PathBuffer(in("notes.zip"))));
  EXPECT_EQ(system.count(), 0);
  EXPECT_FALSE(ox::isFilePackage(ox::PathBuffer(in("Tool.app"))));
  EXPECT_EQ(system.count(), 1);
}

}  // namespace

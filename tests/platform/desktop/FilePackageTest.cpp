#include "platform/desktop/FilePackage.h"

#include <gtest/gtest.h>

#include <string>

namespace {

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

TEST(FilePackage, IsToldByItsExtension) {
  for (const PackageRow& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(ox::hasPackageExtension(row.name), row.isPackage);
  }
}

}  // namespace

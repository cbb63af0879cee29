// SPDX-License-Identifier: MIT

#include "platform/desktop/Desktop.h"

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

// The whole table, so that a missing extension is noticed.
const char* const extensions[] = {
    "app",       "appex",         "bundle",      "component", "kext",          "mdimporter",
    "plugin",    "prefpane",      "qlgenerator", "saver",     "service",       "wdgt",
    "xpc",       "mpkg",          "pkg",         "action",    "dictionary",    "download",
    "lpdf",      "photoslibrary", "rtfd",        "scptd",     "sparsebundle",  "webarchivebundle",
    "workflow",  "docset",        "dsym",        "nib",       "playground",    "xcarchive",
    "xcodeproj", "xcworkspace",   "band",        "fcpbundle", "imovielibrary", "key",
    "logicx",    "numbers",       "pages",       "appdir"};

TEST(FilePackage, HasEachOfTheseExtensions) {
  for (const std::string extension : extensions) {
    EXPECT_TRUE(ox::hasPackageExtension("x." + extension)) << extension;
    EXPECT_FALSE(ox::hasPackageExtension("x." + extension + "x")) << extension;
  }
}

}  // namespace

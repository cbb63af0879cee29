#include <unistd.h>

#include <memory>
#include <utility>

#include "OrvexKit/OXFileUtil.h"
#include "OrvexKit/OXScopedTempDir.h"
#include "platform/files/Files.h"

OXScopedTempDir::OXScopedTempDir() : path_(OXCreateTemporaryDirectory()), process_(::getpid()) {}

OXScopedTempDir::~OXScopedTempDir() {
  if (path_ && process_ == ::getpid()) {
    ox::files::removeItem(ox::PathBuffer(*path_));
  }
}

OXString OXScopedTempDir::path(OXReleaseScope& scope) {
  auto owner = std::make_shared<OXScopedTempDir>();
  OXString path = owner->path();
  scope.defer(std::move(owner));
  return path;
}

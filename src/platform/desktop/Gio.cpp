// SPDX-License-Identifier: MIT

#include "platform/desktop/Desktop.h"

#include <gio/gio.h>
#include <gio/gunixmounts.h>

#include <memory>

#include "platform/files/DynamicLibrary.h"

namespace ox {
namespace {

struct Gio : DynamicLibrary {
  Gio() noexcept : DynamicLibrary(OX_NOTED("libgio-2.0.so.0", "kinds of documents, mounts")) {}

  decltype(&::g_content_type_guess) guessContentType = find("g_content_type_guess");
  decltype(&::g_content_type_is_unknown) isUnknown = find("g_content_type_is_unknown");
  decltype(&::g_content_type_get_description) description = find("g_content_type_get_description");
  decltype(&::g_unix_mount_at) mountAt = find("g_unix_mount_at");
  decltype(&::g_unix_mount_get_fs_type) fileSystemOf = find("g_unix_mount_get_fs_type");
  decltype(&::g_unix_mount_get_device_path) deviceOf = find("g_unix_mount_get_device_path");
  decltype(&::g_unix_is_mount_path_system_internal) isSystemPath =
      find("g_unix_is_mount_path_system_internal");
  decltype(&::g_unix_is_system_fs_type) isSystemFileSystem = find("g_unix_is_system_fs_type");
  decltype(&::g_unix_is_system_device_path) isSystemDevice = find("g_unix_is_system_device_path");
  decltype(&::g_unix_mount_free) freeMount = find("g_unix_mount_free");
};

using Text = std::unique_ptr<char, decltype(&g_free)>;

}  // namespace

std::string kindOfExtension(std::string_view extension) {
  // GIO accepts only UTF-8, and the database has no other extensions.
  const bool isText =
      g_utf8_validate(extension.data(), static_cast<gssize>(extension.size()), nullptr) != FALSE;
  const Gio* const library = isText && !extension.empty() ? sharedLibrary<Gio>() : nullptr;
  if (library == nullptr) {
    return {};
  }
  const std::string name = "x." + std::string(extension);
  gboolean isUncertain = FALSE;
  const Text type(library->guessContentType(name.c_str(), nullptr, 0, &isUncertain), g_free);
  if (!type || (isUncertain != FALSE && library->isUnknown(type.get()) != FALSE)) {
    return {};
  }
  const Text description(library->description(type.get()), g_free);
  return description ? description.get() : "";
}

bool isUserMount(const char* mountPoint) {
  const Gio* const library = sharedLibrary<Gio>();
  GUnixMountEntry* const mount =
      library == nullptr ? nullptr : library->mountAt(mountPoint, nullptr);
  if (mount == nullptr) {
    return false;
  }
  // `g_unix_mount_is_system_internal` would count every bind mount as the system's own.
  const bool isInternal = library->isSystemPath(mountPoint) != FALSE ||
                          library->isSystemFileSystem(library->fileSystemOf(mount)) != FALSE ||
                          library->isSystemDevice(library->deviceOf(mount)) != FALSE;
  library->freeMount(mount);
  return !isInternal;
}

}  // namespace ox

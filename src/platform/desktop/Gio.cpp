#include "platform/desktop/Gio.h"

#include <gio/gio.h>
#include <gio/gunixmounts.h>

#include <memory>

#include "platform/files/DynamicLibrary.h"

namespace ox::gio {
namespace {

struct Gio {
  decltype(&::g_content_type_guess) guessContentType;
  decltype(&::g_content_type_is_unknown) isUnknown;
  decltype(&::g_content_type_get_description) description;
  decltype(&::g_unix_mount_at) mountAt;
  decltype(&::g_unix_mount_get_fs_type) fileSystemOf;
  decltype(&::g_unix_mount_get_device_path) deviceOf;
  decltype(&::g_unix_is_mount_path_system_internal) isSystemPath;
  decltype(&::g_unix_is_system_fs_type) isSystemFileSystem;
  decltype(&::g_unix_is_system_device_path) isSystemDevice;
  decltype(&::g_unix_mount_free) freeMount;

  bool load() noexcept {
    DynamicLibrary library("libgio-2.0.so.0");
    library.find("g_content_type_guess", guessContentType);
    library.find("g_content_type_is_unknown", isUnknown);
    library.find("g_content_type_get_description", description);
    library.find("g_unix_mount_at", mountAt);
    library.find("g_unix_mount_get_fs_type", fileSystemOf);
    library.find("g_unix_mount_get_device_path", deviceOf);
    library.find("g_unix_is_mount_path_system_internal", isSystemPath);
    library.find("g_unix_is_system_fs_type", isSystemFileSystem);
    library.find("g_unix_is_system_device_path", isSystemDevice);
    library.find("g_unix_mount_free", freeMount);
    return library.hasAll();
  }
};

const Gio* gio() {
  static LazyValue<Gio> library;
  return library.get([]() -> std::unique_ptr<Gio> {
    auto made = std::make_unique<Gio>();
    return made->load() ? std::move(made) : nullptr;
  });
}

using Text = std::unique_ptr<char, decltype(&g_free)>;

}  // namespace

std::string kindOfExtension(std::string_view extension) {
  // The database is in UTF-8, so it has no other extension; and GIO takes nothing else.
  const bool isText =
      g_utf8_validate(extension.data(), static_cast<gssize>(extension.size()), nullptr) != FALSE;
  const Gio* const library = isText && !extension.empty() ? gio() : nullptr;
  if (library == nullptr) {
    return {};
  }
  std::string name("x.");
  name += extension;
  gboolean isUncertain = FALSE;
  const Text type(library->guessContentType(name.c_str(), nullptr, 0, &isUncertain), g_free);
  if (!type || (isUncertain != FALSE && library->isUnknown(type.get()) != FALSE)) {
    return {};
  }
  const Text description(library->description(type.get()), g_free);
  return description ? description.get() : "";
}

bool isUserMount(const char* mountPoint) {
  const Gio* const library = gio();
  GUnixMountEntry* const mount =
      library == nullptr ? nullptr : library->mountAt(mountPoint, nullptr);
  if (mount == nullptr) {
    return false;
  }
  // GIO's own answer counts every bind mount among the system's.
  const bool isInternal = library->isSystemPath(mountPoint) != FALSE ||
                          library->isSystemFileSystem(library->fileSystemOf(mount)) != FALSE ||
                          library->isSystemDevice(library->deviceOf(mount)) != FALSE;
  library->freeMount(mount);
  return !isInternal;
}

}  // namespace ox::gio

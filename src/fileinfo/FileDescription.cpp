#include "OrvexKit/OXFileUtil.h"
#include "platform/desktop/Gio.h"
#include "platform/files/Path.h"
#include "platform/objects/BadAlloc.h"

OXString OXFileUtilAdditions::fileDescription(OXStringView path) {
  if (!path) {
    return std::nullopt;
  }
  return ox::orBadAlloc(
      [&] { return OXString(ox::gio::kindOfExtension(ox::path::extension(*path))); });
}

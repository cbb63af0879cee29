#include "OrvexKit/OXFileUtil.h"
#include "platform/Gio.h"
#include "platform/Path.h"

OXString OXFileUtilAdditions::fileDescription(OXStringView path) {
  if (!path) {
    return std::nullopt;
  }
  return ox::gio::kindOfExtension(ox::path::extension(*path));
}

// SPDX-License-Identifier: MIT

// Strings of GLib, to and from the library's.

#include <OrvexKit/OXFileUtil.h>
#include <glib.h>

#include <iostream>
#include <memory>
#include <string_view>

namespace {

struct FreeGString {
  void operator()(GString* string) const { g_string_free(string, TRUE); }
};
using GStringOwner = std::unique_ptr<GString, FreeGString>;

// A view is all that a function of the library takes, so nothing is copied. A null pointer is null.
OXStringView viewOf(const GString* string) {
  return string != nullptr ? OXStringView(std::string_view(string->str, string->len))
                           : OXStringView();
}

// Null gives a null pointer.
GStringOwner toGString(const OXString& string) {
  return GStringOwner(string ? g_string_new_len(string->data(), static_cast<gssize>(string->size()))
                             : nullptr);
}

}  // namespace

int main() {
  const GStringOwner name(g_string_new("photos.tar.gz"));
  const GStringOwner base =
      toGString(OXFileUtilAdditions::stringByDeletingArchiveExtension(viewOf(name.get())));
  std::cout << base->str << '\n';

  // A "char*" is taken as it is, and a null pointer is null.
  char* const path = g_build_filename("/home/me", "photos.zip", nullptr);
  std::cout << OXPathByRemovingAncestorPath(path, "/home/me").value_or("null") << '\n'
            << OXPathByRemovingAncestorPath(g_getenv("NOT_SET"), "/").value_or("null") << '\n';
  g_free(path);

  // What goes to a label has to be UTF-8, and a name may be any bytes.
  const OXString odd = OXFileUtilAdditions::stringByDeletingArchiveExtension("caf\xe9.zip");
  char* const shown = g_utf8_make_valid(odd->data(), static_cast<gssize>(odd->size()));
  std::cout << shown << '\n';
  g_free(shown);
}

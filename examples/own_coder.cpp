// SPDX-License-Identifier: MIT

// A coder of the host's own: records as GVariant dictionaries, which is what D-Bus carries.

#include <OrvexKit/OXArchivedFile.h>
#include <OrvexKit/platform/OXCoder.h>
#include <glib.h>

#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace {

// A name is any bytes, so it becomes an array of bytes and not a text.
struct ToVariant {
  GVariant* operator()(std::string_view text) const {
    return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, text.data(), text.size(), 1);
  }
  GVariant* operator()(OXNumber value) const {
    return g_variant_new_uint64(value.unsigned64Value());
  }
  GVariant* operator()(OXDate date) const {
    return g_variant_new_double(date.time_since_epoch().count());
  }
  // A null marker or a misfit, which records do not give to a keyed coder.
  GVariant* operator()(auto /*object*/) const { return g_variant_new_tuple(nullptr, 0); }
};

OXValue fromVariant(GVariant* variant) {
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_BYTESTRING) != FALSE) {
    const void* const bytes = g_variant_get_data(variant);
    return std::string(static_cast<const char*>(bytes), g_variant_get_size(variant));
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_UINT64) != FALSE) {
    return OXNumber(g_variant_get_uint64(variant));
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_DOUBLE) != FALSE) {
    return OXDate(OXDate::duration(g_variant_get_double(variant)));
  }
  return OXMisfit();  // which no field takes, so that no record comes of it
}

class VariantCoder : public OXCoder {
 public:
  explicit VariantCoder(GVariantDict* dict) : dict_(dict) {}

  bool allowsKeyedCoding() const override { return true; }
  void encodeObjectForKey(const OXValueView& object, std::string_view key) override {
    g_variant_dict_insert_value(dict_, std::string(key).c_str(), std::visit(ToVariant(), object));
  }
  std::optional<OXValue> decodeObjectForKey(std::string_view key) override {
    const std::string name(key);
    g_autoptr(GVariant) value = g_variant_dict_lookup_value(dict_, name.c_str(), nullptr);
    return value != nullptr ? std::optional(fromVariant(value)) : std::nullopt;
  }

  // A record asks for the mode once, and leaves the other one alone.
  void encodeObject(const OXValueView& /*object*/) override {}
  std::optional<OXValue> decodeObject() override { return std::nullopt; }

 private:
  GVariantDict* dict_;  // to write to, or to read from
};

}  // namespace

int main() {
  OXArchivedFile file;
  file.setPath("docs/a.txt");
  file.setActualSize(500);
  g_autoptr(GVariantDict) dict = g_variant_dict_new(nullptr);
  VariantCoder coder(dict);
  file.encodeWithCoder(coder);

  const auto same = OXArchivedFile::initWithCoder(coder);
  std::cout << *same->path() << ", " << same->actualSize() << " bytes\n";
  g_variant_dict_insert(dict, "actualSize", "s", "many");
  std::cout << (OXArchivedFile::initWithCoder(coder) ? "read" : "refused") << '\n';
}

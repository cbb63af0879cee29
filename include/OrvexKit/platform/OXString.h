// Strings as the library takes and returns them.
//
// A string is a run of bytes, by convention UTF-8, or no string at all (null). Lengths and
// positions count bytes. Nothing is ever normalised, and bytes that are not UTF-8 pass through
// untouched, because names on Linux are bytes.
//
//   OXString name = OXFileUtilAdditions::archiveExtension("photos.tar.gz");  // "tar.gz"
//   OXString none = OXFileUtilAdditions::archiveExtension(nullptr);          // null
//
// Where nothing else is said, a function that is given null gives null, false or 0.

#pragma once

#include <OrvexKit/platform/OXExport.h>

#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

// A string, or null. As a result it belongs to the caller.
using OXString = std::optional<std::string>;

namespace ox {

// A class whose objects convert to a string's bytes.
template <typename T>
concept StringClass = std::is_class_v<T> && std::convertible_to<const T&, std::string_view>;

// A class whose objects keep a string, as paths do, instead of making one when they are asked.
template <typename T>
concept NativeStringClass = !StringClass<T> && requires(const T& object) {
  { object.native() } -> std::convertible_to<std::string_view>;
  requires !std::same_as<decltype(object.native()), std::string>;
};

}  // namespace ox

// A string argument, or null: an address and a length, which is never copied and need not end in
// NUL. The library reads it only until the call returns, so a temporary string will do; a view that
// is kept dangles once its string is gone.
//
//   literal, std::string, std::string_view             => that string
//   anything else that converts to std::string_view    => that string
//   const char*                                        => its bytes up to the NUL, or null
//   nullptr, std::nullopt, OXStringView()              => null
//   OXString, or another std::optional of the above    => its string, or null
//   std::filesystem::path, or another type that has    => the bytes of its native()
//   `native()`
class OXStringView {
 public:
  // Null.
  constexpr OXStringView() noexcept = default;
  constexpr OXStringView(std::nullopt_t) noexcept {}

  // The bytes up to the NUL, or null for a null pointer.
  constexpr OXStringView(const char* text) noexcept {
    if (text != nullptr) {
      text_ = text;
    }
  }

  // A string of any other type. One without an address, as `std::string_view()` is, is empty and
  // not null.
  template <ox::StringClass Text>
  constexpr OXStringView(const Text& text) : OXStringView(Present(), text) {}

  // The string that an object keeps.
  template <ox::NativeStringClass Path>
  constexpr OXStringView(const Path& path) : OXStringView(Present(), path.native()) {}

  // What the optional holds, or null.
  template <typename Text>
  requires std::convertible_to<const Text&, OXStringView>
  constexpr OXStringView(const std::optional<Text>& text)
      : OXStringView(text ? OXStringView(*text) : OXStringView()) {}

  // Whether there is a string, be it an empty one.
  constexpr bool has_value() const noexcept { return text_.data() != nullptr; }
  constexpr explicit operator bool() const noexcept { return has_value(); }

  // The string; an empty one for null.
  constexpr const std::string_view& operator*() const noexcept { return text_; }
  constexpr const std::string_view* operator->() const noexcept { return &text_; }

  // The string, or `other` for null.
  constexpr std::string_view value_or(std::string_view other) const noexcept {
    return has_value() ? text_ : other;
  }

  // A copy of the string, or null.
  OX_EXPORT explicit operator OXString() const;

  // Whether both are null, or strings of the same bytes.
  template <typename Text>
  requires std::convertible_to<const Text&, OXStringView>
  friend constexpr bool operator==(OXStringView a, const Text& b) noexcept { return a.equals(b); }
  // Said once more for optionals on either side, whose own comparison would take null for unlike
  // null, or be as good a match.
  template <typename Text>
  requires std::convertible_to<const Text&, OXStringView>
  friend constexpr bool operator==(OXStringView a, const std::optional<Text>& b) noexcept {
    return a.equals(b);
  }
  template <typename Text>
  requires std::convertible_to<const Text&, OXStringView>
  friend constexpr bool operator==(const std::optional<Text>& a, OXStringView b) noexcept {
    return b.equals(a);
  }

 private:
  struct Present {};
  constexpr OXStringView(Present, std::string_view text) noexcept
      : text_(text.data() != nullptr ? text : std::string_view("")) {}

  constexpr bool equals(OXStringView other) const noexcept {
    return has_value() == other.has_value() && text_ == other.text_;
  }

  std::string_view text_;
};

// Two registers.
static_assert(sizeof(OXStringView) == 2 * sizeof(void*));
static_assert(std::is_trivially_copyable_v<OXStringView>);

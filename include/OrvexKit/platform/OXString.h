// SPDX-License-Identifier: MIT

#pragma once

#include <OrvexKit/platform/OXExport.h>

#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

/// A string of bytes, or null. By convention UTF-8, but never normalised; other bytes pass
/// unchanged, because names on Linux are bytes. Lengths and positions count bytes. Unless a
/// function says otherwise, the caller owns its result, and a null argument returns null, false or
/// 0.
/// \ingroup types
using OXString = std::optional<std::string>;

namespace ox {

// A class that converts to a string's bytes.
template <typename T>
concept StringClass = std::is_class_v<T> && std::convertible_to<const T&, std::string_view>;

// A class that keeps a string, as paths do, and does not create one for each call of `native()`.
template <typename T>
concept NativeStringClass = !StringClass<T> && requires(const T& object) {
  { object.native() } -> std::convertible_to<std::string_view>;
  requires !std::same_as<decltype(object.native()), std::string>;
};

}  // namespace ox

/// A string argument, or null: an address and a length, without a copy or a NUL at the end.
/// Functions read it until they return, so a temporary string is fine; a stored view may dangle.
///
///     literal, std::string, std::string_view             => that string
///     anything else that converts to std::string_view    => that string
///     const char*                                        => its bytes up to the NUL, or null
///     nullptr, std::nullopt, OXStringView()              => null
///     OXString, or another std::optional of the above    => its string, or null
///     std::filesystem::path, or another type that has    => the bytes of its native()
///     `native()`
/// \ingroup types
class OXStringView {
 public:
  constexpr OXStringView() noexcept = default;                 ///< Null.
  constexpr OXStringView(std::nullopt_t /*null*/) noexcept {}  ///< Null.

  /// The bytes up to the NUL, or null for a null pointer.
  constexpr OXStringView(const char* text) noexcept {
    if (text != nullptr) {
      text_ = text;
    }
  }

  /// A string of any other type. A null address, as in `std::string_view()`, is empty, not null.
  template <ox::StringClass Text>
  constexpr OXStringView(const Text& text) : OXStringView(Present(), text) {}

  /// The bytes of an object's `native()`.
  template <ox::NativeStringClass Path>
  constexpr OXStringView(const Path& path) : OXStringView(Present(), path.native()) {}

  /// The value of the optional, or null.
  template <typename Text>
  requires std::convertible_to<const Text&, OXStringView>
  constexpr OXStringView(const std::optional<Text>& text)
      : OXStringView(text ? OXStringView(*text) : OXStringView()) {}

  /// Whether the string is not null. It may be empty.
  constexpr bool has_value() const noexcept { return text_.data() != nullptr; }
  /// Whether the string is not null. It may be empty.
  constexpr explicit operator bool() const noexcept { return has_value(); }

  /// The string, or an empty one for null.
  constexpr const std::string_view& operator*() const noexcept { return text_; }
  /// The string, or an empty one for null.
  constexpr const std::string_view* operator->() const noexcept { return &text_; }

  /// The string, or `other` for null.
  constexpr std::string_view value_or(std::string_view other) const noexcept {
    return has_value() ? text_ : other;
  }

  OX_EXPORT explicit operator OXString() const;  ///< A copy of the string, or null.

  /// Whether both are null, or strings of the same bytes.
  template <typename Text>
  requires std::convertible_to<const Text&, OXStringView>
  friend constexpr bool operator==(OXStringView a, const Text& b) noexcept { return a.equals(b); }
  /// Compares with an optional, whose own operator would be ambiguous or find two nulls unequal.
  template <typename Text>
  requires std::convertible_to<const Text&, OXStringView>
  friend constexpr bool operator==(OXStringView a, const std::optional<Text>& b) noexcept {
    return a.equals(b);
  }
  /// Compares with an optional on the left.
  template <typename Text>
  requires std::convertible_to<const Text&, OXStringView>
  friend constexpr bool operator==(const std::optional<Text>& a, OXStringView b) noexcept {
    return b.equals(a);
  }

 private:
  struct Present {};
  constexpr OXStringView(Present /*tag*/, std::string_view text) noexcept
      : text_(text.data() != nullptr ? text : std::string_view("")) {}

  constexpr bool equals(OXStringView other) const noexcept {
    return has_value() == other.has_value() && text_ == other.text_;
  }

  std::string_view text_;
};

// Two registers.
static_assert(sizeof(OXStringView) == 2 * sizeof(void*));
static_assert(std::is_trivially_copyable_v<OXStringView>);

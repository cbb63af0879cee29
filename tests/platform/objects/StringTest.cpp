// SPDX-License-Identifier: MIT

#include <OrvexKit/OrvexKit.h>
#include <gtest/gtest.h>

#include <concepts>
#include <filesystem>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace {

using namespace std::literals;

// Types that a host may have.
struct ConvertsToView {
  std::string text;
  operator std::string_view() const { return text; }
};
struct ConvertsToBoth {
  std::string text;
  operator const char*() const { return text.c_str(); }
  operator std::string_view() const { return text; }
};
struct KeepsNative {
  std::string text;
  const std::string& native() const { return text; }
};
struct MakesNative {
  std::string native() const { return "gone with the statement"; }
};
struct WideNative {
  std::wstring native() const { return L""; }
};

// Passed in registers.
static_assert(sizeof(OXStringView) == 2 * sizeof(void*));
static_assert(std::is_trivially_copyable_v<OXStringView>);
static_assert(std::is_trivially_destructible_v<OXStringView>);

static_assert(!std::convertible_to<MakesNative, OXStringView>);
static_assert(!std::convertible_to<WideNative, OXStringView>);
static_assert(!std::convertible_to<std::wstring, OXStringView>);
static_assert(!std::convertible_to<int, OXStringView>);
static_assert(!std::convertible_to<bool, OXStringView>);
static_assert(!std::convertible_to<char, OXStringView>);
static_assert(!std::convertible_to<void*, OXStringView>);
static_assert(!std::convertible_to<OXStringView, bool>);

// The types that can make a constant.
static_assert(!OXStringView());
static_assert(OXStringView("") && OXStringView("")->empty());
static_assert(*OXStringView("text"sv) == "text");

TEST(StringView, OfNoStringIsNull) {
  const char* const pointer = nullptr;
  char* const writable = nullptr;
  const OXStringView nulls[] = {
      {},
      nullptr,
      std::nullopt,
      pointer,
      writable,
      OXString(),
      std::optional<std::string_view>(),
      std::optional<std::filesystem::path>(),
      std::optional<const char*>(),
      std::optional<const char*>(nullptr),
      OXStringView(),
  };
  for (const OXStringView& null : nulls) {
    SCOPED_TRACE(&null - nulls);
    EXPECT_FALSE(null);
    EXPECT_FALSE(null.has_value());
    EXPECT_TRUE(null == std::nullopt);
    EXPECT_TRUE(null == nullptr);
    EXPECT_FALSE(null == "");
    EXPECT_EQ(null.value_or("other"), "other");
    EXPECT_EQ(OXString(null), std::nullopt);
    EXPECT_TRUE(null->empty());
  }
}

TEST(StringView, TakesEveryKindOfStringWithoutACopy) {
  const std::string owned = "a text that no string keeps in place of its pointer";
  const std::string_view viewed = owned;
  const OXString optional = owned;
  const ConvertsToView convertible{owned};
  const ConvertsToBoth both{owned};
  const KeepsNative keeper{owned};
  const std::filesystem::path path = owned;
  const std::optional<std::filesystem::path> optionalPath = owned;
  std::vector<char> writable(owned.c_str(), owned.c_str() + owned.size() + 1);
  const struct {
    OXStringView view;
    const void* bytes;
  } rows[] = {
      {owned, owned.data()},
      {viewed, owned.data()},
      {owned.c_str(), owned.data()},
      {writable.data(), writable.data()},
      {optional, optional->data()},
      {std::optional(viewed), owned.data()},
      {convertible, convertible.text.data()},
      {both, both.text.data()},
      {keeper, keeper.text.data()},
      {path, path.native().data()},
      {optionalPath, optionalPath->native().data()},
      {OXStringView(owned), owned.data()},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    ASSERT_TRUE(row.view);
    EXPECT_EQ(*row.view, owned);
    EXPECT_EQ(row.view->data(), row.bytes);
    EXPECT_EQ(OXString(row.view), owned);
    EXPECT_EQ(row.view.value_or("other"), owned);
  }
}

TEST(StringView, OfAnEmptyStringIsNotNull) {
  const OXStringView empties[] = {
      "", ""s, ""sv, std::string_view(), OXString(""), std::filesystem::path()};
  for (const OXStringView& empty : empties) {
    SCOPED_TRACE(&empty - empties);
    EXPECT_TRUE(empty);
    EXPECT_TRUE(empty->empty());
    EXPECT_TRUE(empty == "");
    EXPECT_FALSE(empty == std::nullopt);
    EXPECT_EQ(OXString(empty), "");
  }
}

TEST(StringView, KeepsEveryByte) {
  const std::string bytes = "a\0b\xff"s;
  EXPECT_EQ(OXStringView(bytes)->size(), 4U);
  EXPECT_EQ(OXStringView("a\0b\xff"sv)->size(), 4U);
  EXPECT_EQ(OXStringView("a\0b")->size(), 1U);  // a literal is a pointer
}

TEST(StringView, EqualsWhatHasTheSameBytes) {
  const OXStringView text = "text";
  const OXStringView null;
  EXPECT_TRUE(text == "text" && "text" == text);
  EXPECT_TRUE(text == "text"s && "text"s == text);
  EXPECT_TRUE(text == "text"sv && "text"sv == text);
  EXPECT_TRUE(text == OXString("text") && OXString("text") == text);
  EXPECT_TRUE(text == OXStringView("text"));
  EXPECT_TRUE(null == OXString() && OXString() == null);
  EXPECT_TRUE(null == null);
  EXPECT_TRUE(text != "Text" && text != "texts"s && text != OXString() && text != null);
  EXPECT_TRUE(null != OXString("") && OXString("") != null);
}

// std::optional's own comparison takes two for different if one of them is empty.
template <typename Optional>
void expectComparisons(const Optional& null, const Optional& text) {
  const OXStringView noView;
  const OXStringView view("text");
  EXPECT_TRUE(noView == null);
  EXPECT_TRUE(null == noView);
  EXPECT_TRUE(view == text);
  EXPECT_TRUE(text == view);
  EXPECT_TRUE(noView != text);
  EXPECT_TRUE(text != noView);
  EXPECT_TRUE(view != null);
  EXPECT_TRUE(null != view);
}

TEST(StringView, IsComparedWithEveryKindOfOptional) {
  expectComparisons<OXString>({}, "text");
  expectComparisons<std::optional<std::string_view>>({}, "text");
  expectComparisons<std::optional<std::filesystem::path>>({}, "text");
  expectComparisons<std::optional<const char*>>({}, "text");
  expectComparisons<std::optional<const char*>>(nullptr, "text");
  expectComparisons<std::optional<OXStringView>>({}, OXStringView("text"));
  expectComparisons<std::optional<OXStringView>>(OXStringView(), OXStringView("text"));
}

TEST(StringView, CanBeSetAnew) {
  OXStringView view = "one";
  view = nullptr;
  EXPECT_FALSE(view);
  view = "two"sv;
  EXPECT_EQ(view, "two");
  view = std::nullopt;
  EXPECT_FALSE(view);
}

// C libraries return a null pointer for a missing name.
TEST(StringView, LetsANullPointerBeGivenToEveryFunction) {
  const char* const none = nullptr;
  OXFileReference reference;
  const OXString texts[] = {OXFileUtilAdditions::archiveExtension(none),
                            OXFileUtilAdditions::stringByDeletingArchiveExtension(none),
                            OXFileUtilAdditions::canonicalPath(none),
                            OXFileUtilAdditions::fileDescription(none),
                            OXGetFirstArchiveVolumePath(none),
                            OXPathByRemovingAncestorPath(none, none),
                            OXSequentiallyUniqueName(none, none, false),
                            OXSafelyCreateArchiveSubdir(none, none, false),
                            OXGenerateMD5DigestForFile(none)};
  for (const OXString& text : texts) {
    EXPECT_EQ(text, std::nullopt);
  }
  EXPECT_EQ(OXGetTotalFolderSize(none), 0);
  EXPECT_EQ(OXGetFileSize(none), 0);
  EXPECT_FALSE(OXReferenceFromPath(reference, none));
  EXPECT_FALSE(OXMoveFileToTrashSync(none));
}

TEST(StringView, LetsANullPointerBeGivenToEverySetter) {
  const char* const none = nullptr;
  OXArchivedFile file;
  file.setPath("path");
  file.setPath(none);
  EXPECT_EQ(file.path(), std::nullopt);
  OXFormatInfo format;
  format.setName("name");
  format.setName(none);
  EXPECT_EQ(format.name(), std::nullopt);
  EXPECT_FALSE(format.supportsExtension(none));
  OXArchiveSettings settings;
  settings.setPassword("password");
  settings.setPassword(none);
  EXPECT_EQ(settings.password(), std::nullopt);
  OXDeltaNode node;
  node.setName("name");
  node.setName(none);
  EXPECT_EQ(node.name(), std::nullopt);
  node.setPhysicalPath("path");
  node.setPhysicalPath(none);
  EXPECT_EQ(node.physicalPath(), std::nullopt);
  EXPECT_EQ(node.childNamed(none), nullptr);
}

// It is not read: its length alone exceeds any possible size.
TEST(StringView, ThatIsTooLongIsTooMuchForTheMemory) {
  const std::string_view tooLong("text", std::numeric_limits<std::size_t>::max());
  OXFormatInfo format;
  OXArchiveSettings settings;
  OXDeltaNode node;
  format.setName("name");
  EXPECT_THROW(static_cast<void>(OXString(OXStringView(tooLong))), std::bad_alloc);
  EXPECT_THROW(format.setName(tooLong), std::bad_alloc);
  EXPECT_THROW(settings.setPassword(tooLong), std::bad_alloc);
  EXPECT_THROW(node.setName(tooLong), std::bad_alloc);
  EXPECT_THROW(node.setPhysicalPath(tooLong), std::bad_alloc);
  EXPECT_EQ(format.name(), "name");
}

TEST(StringView, TakesPathsAsTheyAre) {
  const std::filesystem::path path = "/v/photos.tar.gz";
  EXPECT_EQ(OXFileUtilAdditions::archiveExtension(path), "tar.gz");
  EXPECT_EQ(OXPathByRemovingAncestorPath(path, path.parent_path()), "photos.tar.gz");
  OXArchivedFile file;
  file.setPath(path);
  EXPECT_EQ(file.path(), "/v/photos.tar.gz");
}

}  // namespace

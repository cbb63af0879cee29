// SPDX-License-Identifier: MIT

#include <OrvexKit/platform/OXReleaseScope.h>
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::is_copy_constructible_v<OXReleaseScope>);

// Reports its destruction.
class Witness : public OXObject {
 public:
  explicit Witness(std::function<void()> atEnd) : atEnd_(std::move(atEnd)) {}
  ~Witness() override { atEnd_(); }
  Witness(const Witness&) = delete;
  Witness& operator=(const Witness&) = delete;

 private:
  std::function<void()> atEnd_;
};

class ReleaseScope : public testing::Test {
 protected:
  std::shared_ptr<OXObject> witness(const std::string& name) {
    return std::make_shared<Witness>([this, name] { gone_.push_back(name); });
  }
  const std::vector<std::string>& gone() const { return gone_; }

 private:
  std::vector<std::string> gone_;
};

TEST_F(ReleaseScope, ReleasesAtItsEndTheLatestFirst) {
  {
    OXReleaseScope scope;
    scope.defer(witness("first"));
    scope.defer(witness("second"));
    scope.defer(nullptr);
    EXPECT_THAT(gone(), IsEmpty());
  }
  EXPECT_THAT(gone(), ElementsAre("second", "first"));
}

TEST_F(ReleaseScope, KeepsWhatSomebodyElseHolds) {
  const std::shared_ptr<OXObject> held = witness("held");
  {
    OXReleaseScope scope;
    scope.defer(held);
  }
  EXPECT_THAT(gone(), IsEmpty());
}

TEST_F(ReleaseScope, IsTheCurrentOneUntilItsEnd) {
  OXReleaseScope& base = OXReleaseScope::current();
  EXPECT_EQ(&base, &OXReleaseScope::current());
  {
    const OXReleaseScope outer;
    EXPECT_EQ(&OXReleaseScope::current(), &outer);
    {
      const OXReleaseScope inner;
      EXPECT_EQ(&OXReleaseScope::current(), &inner);
    }
    EXPECT_EQ(&OXReleaseScope::current(), &outer);
  }
  EXPECT_EQ(&OXReleaseScope::current(), &base);
}

TEST_F(ReleaseScope, ReleasesWhatIsDeferredWhileItEnds) {
  {
    OXReleaseScope outer;
    {
      OXReleaseScope scope;
      scope.defer(std::make_shared<Witness>([&] {
        EXPECT_EQ(&OXReleaseScope::current(), &scope);
        OXReleaseScope::current().defer(witness("late"));
      }));
      scope.defer(witness("early"));
    }
    EXPECT_THAT(gone(), ElementsAre("early", "late"));
  }
}

TEST_F(ReleaseScope, OfAThreadIsItsOwn) {
  const OXReleaseScope scope;
  OXReleaseScope* seen = nullptr;
  std::thread([&] {
    seen = &OXReleaseScope::current();
    OXReleaseScope::current().defer(witness("base"));
    {
      OXReleaseScope inner;
      EXPECT_EQ(&OXReleaseScope::current(), &inner);
      inner.defer(witness("inner"));
    }
    EXPECT_EQ(seen, &OXReleaseScope::current());
  }).join();
  EXPECT_NE(seen, &scope);
  EXPECT_THAT(gone(), ElementsAre("inner", "base"));
}

// Created before the thread's base scope, so destroyed after it.
thread_local std::unique_ptr<Witness> earlier;

TEST_F(ReleaseScope, ComesBackForWhatAThreadDefersAtItsVeryEnd) {
  std::thread([&] {
    earlier = std::make_unique<Witness>([&] {
      EXPECT_THAT(gone(), ElementsAre("base"));
      OXReleaseScope::current().defer(witness("very late"));
      EXPECT_THAT(gone(), ElementsAre("base"));
    });
    OXReleaseScope::current().defer(witness("base"));
  }).join();
  EXPECT_THAT(gone(), ElementsAre("base", "very late"));
}

}  // namespace

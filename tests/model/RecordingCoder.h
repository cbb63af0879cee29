// SPDX-License-Identifier: MIT

// A coder that keeps the objects and records every call.

#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OrvexKit/platform/OXCoder.h"

namespace ox::test {

// As text: `null marker`, `string docs`, `date 1.5`, `boolean true`, `signed -1`, `unsigned 7`,
// `double 0.5`.
std::string shown(const OXValue& object);

class RecordingCoder : public OXPortCoder {
 public:
  enum class Mode { keyed, sequential };

  explicit RecordingCoder(Mode mode, bool isByref = false) : mode_(mode), isByref_(isByref) {}

  bool allowsKeyedCoding() const override;
  void encodeObjectForKey(const OXValueView& object, std::string_view key) override;
  std::optional<OXValue> decodeObjectForKey(std::string_view key) override;
  void encodeObject(const OXValueView& object) override;
  std::optional<OXValue> decodeObject() override;
  bool isByref() const override;

  // The objects to decode; encoding adds to them.
  std::map<std::string, OXValue, std::less<>> keyed;
  std::vector<OXValue> sequence;

  // The number of objects of the sequence that were decoded.
  std::size_t position = 0;

  // Returns the calls since the last time, such as `keyed?`, `write path: string docs`, `read
  // path`, `write: null marker`, `read`, `by reference?`.
  std::vector<std::string> takeCalls();

 private:
  Mode mode_;
  bool isByref_;
  mutable std::vector<std::string> calls_;
};

}  // namespace ox::test

// SPDX-License-Identifier: MIT

#include "model/RecordingCoder.h"

#include <sstream>
#include <utility>
#include <variant>

namespace ox::test {
namespace {

struct Show {
  std::string operator()(OXNull /*marker*/) const { return "null marker"; }
  std::string operator()(OXMisfit /*object*/) const { return "misfit"; }
  std::string operator()(const std::string& text) const { return "string " + text; }
  std::string operator()(OXDate date) const {
    return with("date", date.time_since_epoch().count());
  }
  std::string operator()(const OXNumber& number) const {
    switch (number.kind()) {
      case OXNumber::Kind::boolean:
        return number.boolValue() ? "boolean true" : "boolean false";
      case OXNumber::Kind::signedInteger:
        return with("signed", number.signed64Value());
      case OXNumber::Kind::unsignedInteger:
        return with("unsigned", number.unsigned64Value());
      case OXNumber::Kind::floatingPoint:
        return with("double", number.doubleValue());
    }
    return "no number";
  }

  template <typename Value>
  static std::string with(const char* kind, Value value) {
    std::ostringstream text;
    text << kind << ' ' << value;
    return std::move(text).str();
  }
};

OXValue owned(const OXValueView& object) {
  if (const auto* const text = std::get_if<std::string_view>(&object)) {
    return std::string(*text);
  }
  if (const auto* const date = std::get_if<OXDate>(&object)) {
    return *date;
  }
  if (const auto* const number = std::get_if<OXNumber>(&object)) {
    return *number;
  }
  return std::holds_alternative<OXNull>(object) ? OXValue(OXNull()) : OXValue(OXMisfit());
}

}  // namespace

std::string shown(const OXValue& object) {
  return std::visit(Show(), object);
}

bool RecordingCoder::allowsKeyedCoding() const {
  calls_.emplace_back("keyed?");
  return mode_ == Mode::keyed;
}

void RecordingCoder::encodeObjectForKey(const OXValueView& object, std::string_view key) {
  calls_.push_back("write " + std::string(key) + ": " + shown(owned(object)));
  keyed.insert_or_assign(std::string(key), owned(object));
}

std::optional<OXValue> RecordingCoder::decodeObjectForKey(std::string_view key) {
  calls_.push_back("read " + std::string(key));
  const auto found = keyed.find(key);
  return found != keyed.end() ? std::optional(found->second) : std::nullopt;
}

void RecordingCoder::encodeObject(const OXValueView& object) {
  calls_.push_back("write: " + shown(owned(object)));
  sequence.push_back(owned(object));
}

std::optional<OXValue> RecordingCoder::decodeObject() {
  calls_.emplace_back("read");
  return position < sequence.size() ? std::optional(sequence[position++]) : std::nullopt;
}

bool RecordingCoder::isByref() const {
  calls_.emplace_back("by reference?");
  return isByref_;
}

std::vector<std::string> RecordingCoder::takeCalls() {
  return std::exchange(calls_, {});
}

}  // namespace ox::test

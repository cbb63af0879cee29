// SPDX-License-Identifier: MIT

#include "support/ValueText.h"

#include <array>
#include <cstdio>

namespace ox::test {

namespace {

std::string doubleText(double value) {
  std::array<char, 64> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%.17g", value));
  // The sign and the payload of a NaN do not matter.
  return value != value ? "nan" : text.data();
}

std::string numberText(const OXNumber& number) {
  switch (number.kind()) {
    case OXNumber::Kind::boolean:
      return "boolean " + std::to_string(static_cast<int>(number.boolValue()));
    case OXNumber::Kind::signedInteger:
      return "signed " + std::to_string(number.signed64Value());
    case OXNumber::Kind::unsignedInteger:
      return "unsigned " + std::to_string(number.unsigned64Value());
    case OXNumber::Kind::floatingPoint:
      return "double " + doubleText(number.doubleValue());
  }
  return "unknown kind";
}

}  // namespace

std::string stringText(std::string_view string) {
  std::string text = "string \"";
  for (const char c : string) {
    const bool isPlain = c >= ' ' && c <= '~' && c != '\\';
    std::array<char, 8> escape{};
    static_cast<void>(
        std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned char>(c)));
    text += isPlain ? std::string(1, c) : escape.data();
  }
  return text + '"';
}

std::string valueText(const OXValue& value) {
  if (const auto* const string = std::get_if<std::string>(&value)) {
    return stringText(*string);
  }
  if (const auto* const date = std::get_if<OXDate>(&value)) {
    return "date " + doubleText(date->time_since_epoch().count());
  }
  if (const auto* const number = std::get_if<OXNumber>(&value)) {
    return numberText(*number);
  }
  return std::holds_alternative<OXNull>(value) ? "null marker" : "misfit";
}

std::string valueText(const std::optional<OXValue>& value) {
  return value ? valueText(*value) : "none";
}

}  // namespace ox::test

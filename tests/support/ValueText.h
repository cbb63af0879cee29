// SPDX-License-Identifier: MIT

// A coder's object as text with its kind, for comparisons and readable failures.

#pragma once

#include <OrvexKit/platform/OXValue.h>

#include <optional>
#include <string>
#include <string_view>

namespace ox::test {

//   "docs"                 => string "docs"
//   OXDate at 1.5 s        => date 1.5
//   OXNumber(true)         => boolean 1
//   OXNumber(INT64_C(-1))  => signed -1
//   OXNumber(UINT64_C(1))  => unsigned 1
//   OXNumber(0.5)          => double 0.5
//   OXNull()               => null marker
//   OXMisfit()             => misfit
//   no object              => none
std::string stringText(std::string_view string);  // bytes other than printable ASCII as \xHH
std::string valueText(const OXValue& value);
std::string valueText(const std::optional<OXValue>& value);

}  // namespace ox::test

// SPDX-License-Identifier: MIT

// Which sanitizers the tests and the library are built with.

#pragma once

#ifdef __has_feature
#define OX_HAS_FEATURE(feature) __has_feature(feature)
#else
#define OX_HAS_FEATURE(feature) 0
#endif

namespace ox::test {

#if defined(__SANITIZE_ADDRESS__) || OX_HAS_FEATURE(address_sanitizer)
inline constexpr bool hasAddressSanitizer = true;
#else
inline constexpr bool hasAddressSanitizer = false;
#endif

#if defined(__SANITIZE_THREAD__) || OX_HAS_FEATURE(thread_sanitizer)
inline constexpr bool hasThreadSanitizer = true;
#else
inline constexpr bool hasThreadSanitizer = false;
#endif

}  // namespace ox::test

#undef OX_HAS_FEATURE

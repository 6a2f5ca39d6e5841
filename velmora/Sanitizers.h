// SPDX-License-Identifier: BSD-2-Clause

#pragma once

// Each macro is 1 if the source is compiled with that sanitizer, and 0 otherwise. g++ reports a
// sanitizer by a predefined macro, clang by a feature test.
//
//   VELMORA_ADDRESS_SANITIZER
//   VELMORA_THREAD_SANITIZER

#if !defined(__has_feature)
#define VELMORA_HAS_FEATURE(feature) 0
#else
#define VELMORA_HAS_FEATURE(feature) __has_feature(feature)
#endif

#if defined(__SANITIZE_ADDRESS__) || VELMORA_HAS_FEATURE(address_sanitizer)
#define VELMORA_ADDRESS_SANITIZER 1
#else
#define VELMORA_ADDRESS_SANITIZER 0
#endif

#if defined(__SANITIZE_THREAD__) || VELMORA_HAS_FEATURE(thread_sanitizer)
#define VELMORA_THREAD_SANITIZER 1
#else
#define VELMORA_THREAD_SANITIZER 0
#endif

#undef VELMORA_HAS_FEATURE

#pragma once

// Which sanitizer a source is compiled with: 1 or 0. g++ says so by macros, clang by features.
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

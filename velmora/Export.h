// SPDX-License-Identifier: BSD-2-Clause

#pragma once

/// Exports a class, function or variable from the shared library. All other symbols of the library
/// are hidden.
#define VELMORA_API __attribute__((visibility("default")))

/// Exports a thread-local variable that inline code in headers reads. The library itself always
/// uses its own variable, even if another copy of the library in the process exports the same name.
#if defined(VELMORA_BUILDING_LIBRARY)
#define VELMORA_API_THREAD_LOCAL __attribute__((visibility("protected")))
#else
#define VELMORA_API_THREAD_LOCAL VELMORA_API
#endif

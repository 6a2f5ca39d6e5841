#pragma once

/// Marks what the shared library exports. Everything else in it is hidden.
#define VELMORA_API __attribute__((visibility("default")))

/// Marks an exported thread-local variable that inline code of headers reads. The library itself
/// always uses its own, also where another copy of it in the process exports the same name.
#if defined(VELMORA_BUILDING_LIBRARY)
#define VELMORA_API_THREAD_LOCAL __attribute__((visibility("protected")))
#else
#define VELMORA_API_THREAD_LOCAL VELMORA_API
#endif

#pragma once

/// Marks what the shared library exports. Everything else in it is hidden.
#define VELMORA_API __attribute__((visibility("default")))

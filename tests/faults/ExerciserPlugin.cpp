// SPDX-License-Identifier: BSD-2-Clause

// The shared library that the exerciser opens.

extern "C" [[gnu::visibility("default")]] int answerOfPlugin() { return 42; }

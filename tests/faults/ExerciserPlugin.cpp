// What the exerciser opens as a shared library.

extern "C" [[gnu::visibility("default")]] int answerOfPlugin() { return 42; }

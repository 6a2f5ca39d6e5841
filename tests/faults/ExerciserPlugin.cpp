// The shared library that the exerciser opens.

extern "C" [[gnu::visibility("default")]] int answerOfPlugin() { return 42; }

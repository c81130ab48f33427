// A shared library that is not a plug-in: it has no entry point.
extern "C" int kxPlainLibraryAnswer() { return 42; }

// Leaks that LeakSanitizer must not count against the window tests: the font library keeps its
// caches (patterns and font sets that the first text drawn loads) until the process ends, by
// design. Nothing of ours is listed here.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}

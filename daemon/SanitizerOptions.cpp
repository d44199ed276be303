// Compiled into builds with ThreadSanitizer only.

extern "C" const char* __tsan_default_options();

// The SIGHUP handler rotates: it uses the heap, streams and a lock, on purpose. The signal is
// blocked wherever its thread could be half-way through any of these, which the sanitizer's check
// for calls that are unsafe in a handler cannot know.
extern "C" const char* __tsan_default_options() { return "report_signal_unsafe=0"; }

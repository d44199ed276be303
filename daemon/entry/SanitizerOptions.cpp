// Compiled only into builds with ThreadSanitizer.

extern "C" const char* __tsan_default_options();

// The SIGHUP handler deliberately uses the heap, streams and a lock to rotate. The sanitizer's
// check for unsafe calls in a handler cannot know that the signal is blocked wherever the thread
// could be inside one of these.
extern "C" const char* __tsan_default_options() { return "report_signal_unsafe=0"; }

#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;  // so that all is slower, and takes more memory
#else
constexpr bool kSanitized = false;
#endif

// The command that runs every tavok of the tests, in words of the shell, from the environment's
// TAVOK_TEST_PREFIX, such as "valgrind -q --error-exitcode=99". Empty when there is none.
inline std::string TestPrefix() {
  const char* const prefix = std::getenv("TAVOK_TEST_PREFIX");
  return prefix == nullptr ? "" : prefix;
}

// How many times longer than usual a test may take: 1, or 5 under a prefix.
inline int Patience() { return TestPrefix().empty() ? 1 : 5; }

inline void Nap(int milliseconds) { ::usleep(static_cast<useconds_t>(milliseconds) * 1000); }

inline double SecondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Polls every 2 ms until `condition` holds. Returns false if it still does not after 40 s, times
// Patience().
template <class Condition>
bool Eventually(Condition condition) {
  const auto begin = std::chrono::steady_clock::now();
  do {
    if (condition()) return true;
    Nap(2);
  } while (SecondsSince(begin) < 40 * Patience());
  return false;
}

// Returns in the first moments of a second, so that what follows falls into one.
inline void AwaitNextSecond() {
  (void)Eventually([before = std::time(nullptr)] { return std::time(nullptr) != before; });
}

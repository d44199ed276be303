#include "Waiting.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>

std::string TestPrefix() {
  const char* const prefix = std::getenv("TAVOK_TEST_PREFIX");
  return prefix == nullptr ? "" : prefix;
}

int Patience() { return TestPrefix().empty() ? 1 : 5; }

void Nap(int milliseconds) { ::usleep(static_cast<useconds_t>(milliseconds) * 1000); }

double SecondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void AwaitNextSecond() {
  (void)Eventually([before = std::time(nullptr)] { return std::time(nullptr) != before; });
}

#pragma once

#include <chrono>
#include <string>

// The command that runs every tavok of the tests, in words of the shell, from the environment's
// TAVOK_TEST_PREFIX, such as "valgrind -q --error-exitcode=99". Empty when there is none.
std::string TestPrefix();

// How many times longer than usual a test may take: 1, or 5 under a prefix.
int Patience();

void Nap(int milliseconds);

double SecondsSince(std::chrono::steady_clock::time_point begin);

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
void AwaitNextSecond();

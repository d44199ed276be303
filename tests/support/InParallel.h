#pragma once

#include <future>
#include <iterator>
#include <vector>

// An emulated process that forks while another of its threads translates code or ends can leave a
// child that waits for ever, before it runs anything.
#ifdef TAVOK_EMULATED
constexpr auto kHow = std::launch::deferred;
#else
constexpr auto kHow = std::launch::async;
#endif

// Runs the body for all cases at once, each in a thread; where the tests are emulated, one by one.
template <class Cases, class Body>
void InParallel(const Cases& cases, Body body) {
  std::vector<std::future<void>> runs;
  runs.reserve(std::size(cases));
  for (const auto& each : cases) {
    runs.push_back(std::async(kHow, [&each, &body] { body(each); }));
  }
  for (auto& run : runs) run.get();
}

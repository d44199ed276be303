#pragma once

#include <future>
#include <iterator>
#include <vector>

// Under qemu, a fork beside other threads can leave a child that waits for ever on a lock of
// qemu's, before it runs anything.
#ifdef TAVOK_EMULATED
constexpr auto kLaunchPolicy = std::launch::deferred;
#else
constexpr auto kLaunchPolicy = std::launch::async;
#endif

// Runs the body for all cases at once, each in a thread; where the tests are emulated, one by one.
template <class Cases, class Body>
void InParallel(const Cases& cases, Body body) {
  std::vector<std::future<void>> runs;
  runs.reserve(std::size(cases));
  for (const auto& each : cases) {
    runs.push_back(std::async(kLaunchPolicy, [&each, &body] { body(each); }));
  }
  for (auto& run : runs) run.get();
}

#pragma once

#include <future>
#include <iterator>
#include <vector>

// Runs the body for all cases at once, each in a thread.
template <class Cases, class Body>
void InParallel(const Cases& cases, Body body) {
  std::vector<std::future<void>> runs;
  runs.reserve(std::size(cases));
  for (const auto& each : cases) {
    runs.push_back(std::async(std::launch::async, [&each, &body] { body(each); }));
  }
  for (auto& run : runs) run.get();
}

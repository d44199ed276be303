#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>

#include "Daemon.h"
#include "Flood.h"
#include "InParallel.h"
#include "Numbered.h"

// How often, or how many: the second with TAVOK_TRIALS=full, which takes minutes.
template <class Number>
Number Scale(Number quick, Number full) {
  const char* const scale = std::getenv("TAVOK_TRIALS");
  return scale != nullptr && std::string(scale) == "full" ? full : quick;
}

// Prints what a trial has found, for whoever runs it.
template <class... Values>
void Figure(const char* format, Values... values) {
  (void)std::printf(("             " + std::string(format) + "\n").c_str(), values...);
}

// The command that runs tavok with a fault, or with its clock shifted by what the file says.
inline std::string Shimmed(const std::string& fault, const std::string& clock = "") {
  return "env LD_PRELOAD=" TRIALS_SHIM " ASAN_OPTIONS=verify_asan_link_order=0 TAVOK_FAULT=" +
         fault + " TAVOK_CLOCK=" + clock;
}

inline long Sum(const std::vector<int>& counts) {
  return std::accumulate(counts.begin(), counts.end(), 0L);
}

// Waits until the log holds what was sent, once and in order, up to `mayMiss` messages.
inline void ExpectLogged(const TempDir& dir, const std::vector<int>& counts, long mayMiss = 0) {
  const auto fault = [&] { return NumberedFault(Logged(dir), counts, mayMiss); };
  EXPECT_TRUE(Eventually([&] { return fault().empty(); })) << fault();
}

// Whether a text that is sent comes last in the log.
inline bool Collects(const TempDir& dir, const std::string& text) {
  Sender(dir / "socket").Send(text);
  return Eventually([&] { return Logged(dir).ends_with(text); });
}

// Has the daemon rotate, and waits until there is a new file. Not within a second of the last time,
// which would replace a file, however late that signal was heeded.
inline void Rotate(const TempDir& dir, const Daemon& daemon, int afterMs = 1100) {
  Nap(afterMs);
  const std::set<std::string> before = LogFiles(dir);
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] { return !std::ranges::includes(before, LogFiles(dir)); }));
}

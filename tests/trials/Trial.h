#pragma once

#include <cstdio>
#include <cstdlib>

#include "Daemon.h"
#include "Flood.h"
#include "Numbered.h"

// How often, or how many: the second with TAVOK_TRIALS=full, which takes minutes.
inline int Scale(int quick, int full) {
  const char* const scale = std::getenv("TAVOK_TRIALS");
  return scale != nullptr && std::string(scale) == "full" ? full : quick;
}

// Prints what a trial has found, for whoever runs it.
template <class... Values>
void Figure(const char* format, Values... values) {
  (void)std::printf("             ");
  (void)std::printf(format, values...);
  (void)std::printf("\n");
}

// Runs the body for all cases at once, each in a thread.
template <class Cases, class Body>
void InParallel(const Cases& cases, Body body) {
  std::vector<std::jthread> threads;
  for (const auto& each : cases) {
    threads.emplace_back([&each, &body] {
      try {
        body(each);
      } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
      }
    });
  }
}

// The command that runs tavok with a fault, or with its clock shifted by what the file says.
inline std::string Shimmed(const std::string& fault, const std::string& clock = "") {
  std::string words = "env LD_PRELOAD=" TRIALS_SHIM " ASAN_OPTIONS=verify_asan_link_order=0";
  if (!fault.empty()) words += " TAVOK_FAULT=" + fault;
  if (!clock.empty()) words += " TAVOK_CLOCK=" + clock;
  return words;
}

// How many messages can be lost with a daemon: the queue of its socket, and the one in its hands.
inline int QueueLength() { return std::stoi(ReadFile("/proc/sys/net/unix/max_dgram_qlen")) + 2; }

inline long Sum(const std::vector<int>& counts) {
  return std::accumulate(counts.begin(), counts.end(), 0L);
}

// Waits until the log holds what was sent, once and in order, up to `mayMiss` messages.
inline void ExpectLogged(const TempDir& dir, const std::vector<int>& counts, long mayMiss = 0) {
  std::string fault;
  (void)Eventually([&] {
    fault = NumberedFault(Logged(dir), counts, mayMiss);
    return fault.empty();
  });
  EXPECT_EQ("", fault);
}

inline std::string NewestRotated(const TempDir& dir) {
  auto names = LogFiles(dir);
  names.erase("tmp.tavok");
  return names.empty() ? "" : *names.rbegin();
}

// Has the daemon rotate, and waits until it has. Not within a second of the last time, which would
// replace a file, however late that signal was heeded.
inline void Rotate(const TempDir& dir, const Daemon& daemon) {
  Nap(1100);
  const std::string before = NewestRotated(dir);
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] { return NewestRotated(dir) != before; }));
}

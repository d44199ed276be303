#pragma once

#include <chrono>

/// Measures the time since its construction.
class CStopwatch {
 public:
  double Seconds() const { return std::chrono::duration<double>(Clock::now() - m_begin).count(); }

 private:
  using Clock = std::chrono::steady_clock;

  const Clock::time_point m_begin = Clock::now();
};

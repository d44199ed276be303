#pragma once

#include <sys/time.h>

namespace qel {

// Milliseconds since construction by the time of day, kept in 32 bits: a clock that is set back
// reads as a long time.
class QELElapsed {
 public:
  QELElapsed() { ::gettimeofday(&m_start, nullptr); }

  unsigned Milliseconds() const {
    timeval now;
    ::gettimeofday(&now, nullptr);
    return static_cast<unsigned>((now.tv_usec - m_start.tv_usec) / 1000 +
                                 (now.tv_sec - m_start.tv_sec) * 1000);
  }

 private:
  timeval m_start;
};

}  // namespace qel

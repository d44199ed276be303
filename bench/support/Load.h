#pragma once

#include "Running.h"

/// What is sent to a subject: `datagrams` of `size` bytes, shared out among the senders.
struct Load {
  bool udp = false;
  unsigned size = 100;   // bytes
  unsigned senders = 4;  // each is a process
  unsigned rate = 0;     // datagrams per second; 0: as fast as they are taken
  long datagrams = 100'000;
};

/// What became of it.
struct Outcome {
  double CpuUs() const { return cpuSeconds / static_cast<double>(received) * 1e6; }
  double PerSecond() const { return static_cast<double>(received) / seconds; }
  double LostPercent() const {
    return 100.0 * static_cast<double>(sent - received) / static_cast<double>(sent);
  }

  long sent = 0;
  long received = 0;
  double seconds = 0;     // until the last one was in the file
  double cpuSeconds = 0;  // of the subject
};

/// What a subject makes of one datagram in its file.
struct Written {
  std::uintmax_t bytes = 0;
  bool unchanged = false;
};

/// Sends a few datagrams of the load's size, slowly, to a subject that has just been started, and
/// looks at its file. Warms it up, too. Throws std::runtime_error when not all arrive.
Written WarmUp(const Load& load, const Running& subject);

/// Sends the load and waits until all of it is in the subject's files, or nothing more comes.
/// Throws std::runtime_error when a datagram cannot be sent for 30 seconds.
Outcome Send(const Load& load, const Running& subject, const Written& each);

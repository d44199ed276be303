#pragma once

#include <atomic>
#include <climits>
#include <thread>
#include <vector>

#include "Sockets.h"

// What a flood sends.
struct FloodSetup {
  std::size_t senders = 4;
  int pauseUs = 0;      // of each sender, after a message
  int each = INT_MAX;   // how many messages each sender sends
  long lead = 500'000;  // how many messages all of them may be ahead of their reader; 50 MB
};

// Threads that send numbered messages to a destination, as fast as they are taken, whoever listens
// there and whether or not anybody does just then. They wait while they are ahead of their reader:
// without one, `lead` is all that they send.
class Flood {
 public:
  Flood(Destination to, const FloodSetup& setup);

  // The reader has read so many messages in all.
  void HasRead(long messages) { m_read = messages; }
  // How many have been sent so far.
  long Sent() const { return m_sent; }
  // Waits until so many more have been sent. Returns false if that takes too long.
  bool Goes(long messages) const;
  // Waits until each sender has sent what it had to send. Returns false if that takes too long.
  bool IsDone() const;
  // Ends the senders. Returns how many messages each has sent; one that was refused is not counted.
  const std::vector<int>& Stop();

 private:
  void Run(const std::stop_token& stop, std::size_t sender);

  const Destination m_to;
  const FloodSetup m_setup;
  std::vector<int> m_counts;
  std::atomic<long> m_sent = 0, m_read = 0;
  std::vector<std::jthread> m_threads;
};

#pragma once

#include <atomic>
#include <climits>
#include <thread>
#include <vector>

#include "Numbered.h"
#include "Sockets.h"
#include "Waiting.h"

// What a flood sends.
struct FloodSetup {
  std::size_t senders = 4;
  int pauseUs = 0;     // of each sender, after a message
  int each = INT_MAX;  // how many messages each sender sends
  // How many messages all of them may be ahead of their reader: more than are sent in a second.
  long lead = kSanitized ? 50'000 : 500'000;
};

// Threads that send numbered messages to a destination, as fast as they are taken, whoever listens
// there and whether or not anybody does just then. They wait while they are ahead of their reader:
// without one, `lead` is all that they send.
class Flood {
 public:
  Flood(Destination to, const FloodSetup& setup)
      : m_to(std::move(to)), m_setup(setup), m_counts(setup.senders) {
    for (std::size_t i = 0; i < setup.senders; ++i) {
      m_threads.emplace_back([this, i](const std::stop_token& stop) { Run(stop, i); });
    }
  }

  // The reader has read so many messages in all.
  void HasRead(long messages) { m_read = messages; }
  // The same for all that have been sent: some of them may have been dropped, and never be read.
  void HasReadAll() { m_read = m_sent.load(); }
  // Waits until so many more have been sent. Returns false if that takes too long.
  bool Goes(long messages) const {
    return Eventually([this, goal = m_sent + messages] { return m_sent >= goal; });
  }
  // Whether each sender has sent what it had to send.
  bool HasSentAll() const {
    return m_sent == static_cast<long>(m_setup.each) * static_cast<long>(m_setup.senders);
  }
  // Ends the senders. Returns how many messages each has sent; one that was refused is not counted.
  const std::vector<int>& Stop() {
    for (std::jthread& thread : m_threads) thread.request_stop();
    m_threads.clear();
    return m_counts;
  }

 private:
  void Run(const std::stop_token& stop, std::size_t sender) {
    int fd = -1;
    int& count = m_counts[sender];
    while (!stop.stop_requested() && count < m_setup.each) {
      if (m_sent - m_read >= m_setup.lead) {
        Nap(1);
        continue;
      }
      const std::string text = Numbered(sender, count);
      if (fd != -1 && ::send(fd, text.data(), text.size(), 0) > 0) {
        count += 1;
        m_sent += 1;
        if (m_setup.pauseUs > 0) ::usleep(static_cast<useconds_t>(m_setup.pauseUs));
        continue;
      }
      if (fd != -1) ::close(fd);
      fd = TryConnectedSocket(m_to);
      const timeval limit{1, 0};  // a daemon may be stopped for a while
      if (fd == -1 || ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0) Nap(1);
    }
    if (fd != -1) ::close(fd);
  }

  const Destination m_to;
  const FloodSetup m_setup;
  std::vector<int> m_counts;
  std::atomic<long> m_sent = 0, m_read = 0;
  std::vector<std::jthread> m_threads;
};

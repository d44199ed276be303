#include "Flood.h"

#include <sys/socket.h>
#include <unistd.h>

#include "Numbered.h"
#include "Waiting.h"

namespace {

// -1 when nobody listens there.
int SocketWithLimit(const Destination& to) {
  const int fd = TryConnectedSocket(to);
  const timeval limit{1, 0};  // a daemon may be stopped for a while
  if (fd != -1) ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  return fd;
}

}  // namespace

Flood::Flood(Destination to, const FloodSetup& setup)
    : m_to(std::move(to)), m_setup(setup), m_counts(setup.senders) {
  for (std::size_t i = 0; i < setup.senders; ++i) {
    m_threads.emplace_back([this, i](const std::stop_token& stop) { Run(stop, i); });
  }
}

bool Flood::Goes(long messages) const {
  return Eventually([this, goal = m_sent + messages] { return m_sent >= goal; });
}

bool Flood::IsDone() const {
  const long total = static_cast<long>(m_setup.each) * static_cast<long>(m_setup.senders);
  return Eventually([this, total] { return m_sent == total; });
}

const std::vector<int>& Flood::Stop() {
  for (std::jthread& thread : m_threads) thread.request_stop();
  m_threads.clear();
  return m_counts;
}

void Flood::Run(const std::stop_token& stop, std::size_t sender) {
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
    fd = SocketWithLimit(m_to);
    if (fd == -1) Nap(1);
  }
  if (fd != -1) ::close(fd);
}

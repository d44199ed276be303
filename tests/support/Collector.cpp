#include "Collector.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "Check.h"
#include "Sockets.h"
#include "Waiting.h"

Collector::Collector(const std::string& path)
    : m_path(path), m_fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  ::unlink(path.c_str());
  const sockaddr_un at = UnixAddress(path);
  Check(::bind(m_fd, reinterpret_cast<const sockaddr*>(&at), sizeof at) == 0, "bind " + path);
  m_reader = std::jthread([this](const std::stop_token& stop) { Read(stop); });
}

Collector::~Collector() {
  m_reader = {};
  ::close(m_fd);
  ::unlink(m_path.c_str());
}

long Collector::Count(const std::string& text) {
  const std::lock_guard lock(m_mutex);
  return std::count_if(m_messages.begin(), m_messages.end(), [&](const std::string& message) {
    return message.find(text) != message.npos;
  });
}

bool Collector::Sees(const std::string& text) {
  return Eventually([&] { return Count(text) > 0; });
}

void Collector::Read(const std::stop_token& stop) {
  std::string buffer(65536, '\0');
  while (!stop.stop_requested()) {
    pollfd entry{m_fd, POLLIN, 0};
    if (::poll(&entry, 1, 20) <= 0) continue;
    const ssize_t size = ::recv(m_fd, buffer.data(), buffer.size(), 0);
    const std::lock_guard lock(m_mutex);
    m_messages.push_back(buffer.substr(0, static_cast<std::size_t>(size)));
  }
}

#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Check.h"
#include "Sockets.h"
#include "Waiting.h"

// A Unix-domain datagram socket that somebody else sends to. Unless it is asked not to, it reads
// all the time: its queue holds few messages, and senders drop what does not fit.
class Collector {
 public:
  // Replaces what is at the path. Throws std::runtime_error if it cannot be bound.
  explicit Collector(const std::string& path, bool reads = true) : m_path(path), m_fd(Bind(path)) {
    if (reads) m_reader = std::jthread([this](const std::stop_token& stop) { Read(stop); });
  }
  ~Collector() {
    m_reader = {};
    ::close(m_fd);
    ::unlink(m_path.c_str());
  }

  // How many messages have come that begin with `begin` and contain `text`. Where a path exists
  // once on a machine, others may send to it.
  long Count(const std::string& text, const std::string& begin = "") {
    const std::lock_guard lock(m_mutex);
    return std::count_if(m_messages.begin(), m_messages.end(), [&](const std::string& message) {
      return message.starts_with(begin) && message.find(text) != message.npos;
    });
  }
  // Waits until one has come.
  bool Sees(const std::string& text) {
    return Eventually([&] { return Count(text) > 0; });
  }

 private:
  static int Bind(const std::string& path) {
    ::unlink(path.c_str());
    return BoundSocket(path);
  }
  void Read(const std::stop_token& stop) {
    std::string buffer(65536, '\0');
    while (!stop.stop_requested()) {
      pollfd entry{m_fd, POLLIN, 0};
      if (::poll(&entry, 1, 20) <= 0) continue;
      const ssize_t size = ::recv(m_fd, buffer.data(), buffer.size(), 0);
      const std::lock_guard lock(m_mutex);
      m_messages.push_back(buffer.substr(0, static_cast<std::size_t>(size)));
    }
  }

  const std::string m_path;
  const int m_fd;
  std::mutex m_mutex;
  std::vector<std::string> m_messages;
  std::jthread m_reader;
};

// One that never reads, its queue full.
struct FullCollector : Collector {
  explicit FullCollector(const std::string& path) : Collector(path, false) {
    const int filler = ConnectedSocket(path);
    while (::send(filler, "x", 1, MSG_DONTWAIT) == 1) {
    }
    ::close(filler);
  }
};

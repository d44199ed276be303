#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <numeric>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

// A directory of the test's own, removed at its end.
class TempDir {
 public:
  TempDir() {
    if (::mkdtemp(m_path) == nullptr) throw std::runtime_error("mkdtemp");
  }
  ~TempDir() { std::filesystem::remove_all(m_path); }
  std::string operator/(const std::string& name) const { return m_path + ("/" + name); }

 private:
  char m_path[32] = "/tmp/tavok-test-XXXXXX";
};

inline void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Polls until `condition` holds; false when it still does not at the deadline.
template <class Condition>
bool Eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(40);
  do {
    if (condition()) return true;
  } while (::usleep(2000) == 0 && std::chrono::steady_clock::now() < end);
  return false;
}

// Returns in the first moments of a second, so that what follows falls into one.
inline void AwaitNextSecond() {
  Eventually([before = std::time(nullptr)] { return std::time(nullptr) != before; });
}

inline sockaddr_un UnixAddress(const std::string& path) {
  sockaddr_un address{AF_UNIX, {}};
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

// A Unix-domain datagram socket that somebody else sends to. It is read all the time: its queue
// holds few messages, and senders drop what does not fit.
class Collector {
 public:
  explicit Collector(const char* path) : m_path(path), m_fd(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
    ::unlink(path);
    const sockaddr_un to = UnixAddress(path);
    EXPECT_EQ(0, ::bind(m_fd, reinterpret_cast<const sockaddr*>(&to), sizeof to)) << path;
    m_reader = std::jthread([this](const std::stop_token& stop) { Read(stop); });
  }
  ~Collector() {
    m_reader = {};
    ::close(m_fd), ::unlink(m_path.c_str());
  }

  // How many messages have come that contain `text`.
  long Count(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    return std::count_if(m_messages.begin(), m_messages.end(),
                         [&](const auto& message) { return message.find(text) != text.npos; });
  }
  bool Sees(const std::string& text) {
    return Eventually([&] { return Count(text) > 0; });
  }

 private:
  void Read(const std::stop_token& stop) {
    for (std::string buffer(65536, '\0'); !stop.stop_requested();) {
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

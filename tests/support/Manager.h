#pragma once

#include "Collector.h"
#include "Files.h"
#include "Sockets.h"
#include "Tavok.h"

// Stands in for a service manager: holds a datagram socket for the tavok that it starts, and hears
// what that tells it.
class Manager {
 public:
  // Binds the socket at a path or a UDP port, with a receive buffer of so many bytes, which is the
  // kernel's to choose if 0.
  Manager(const TempDir& dir, const Destination& at, int buffer = 0)
      : m_notify(dir / "notify"), m_told(m_notify), m_fd(BoundSocket(at)), m_at(at) {
    constexpr int kOption = SO_RCVBUFFORCE;
    const bool isSet =
        buffer == 0 || ::setsockopt(m_fd, SOL_SOCKET, kOption, &buffer, sizeof buffer) == 0;
    ::Check(isSet, "SO_RCVBUFFORCE");  // a test may have a fixture of that name
  }
  explicit Manager(const TempDir& dir) : Manager(dir, dir / "socket") {}
  ~Manager() {
    ::close(m_fd);
    if (!IsPort(m_at)) ::unlink(m_at.c_str());
  }

  // How it starts a tavok; a watchdog of 0 is none.
  TavokSetup Setup(int watchdogMs = 0, const std::string& settings = "") const {
    return {.settings = settings,
            .prefix = "env LISTEN_PID=$$ LISTEN_FDS=1 NOTIFY_SOCKET=" + m_notify +
                      " WATCHDOG_USEC=" + std::to_string(watchdogMs) + "000",
            .passed = m_fd};
  }
  Collector& Told() { return m_told; }
  int Socket() const { return m_fd; }

 private:
  const std::string m_notify;
  Collector m_told;
  const int m_fd;
  const Destination m_at;
};

#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "Check.h"

// Where datagrams go: the path of a Unix-domain socket, or, if it is a number, a UDP port of this
// host's loopback address. As the setting Port has it.
using Destination = std::string;

inline sockaddr_un UnixAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

inline sockaddr_in LoopbackAddress(const std::string& port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(std::stoul(port)));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// Where the system logger receives.
constexpr const char* kSystemLog = "/dev/log";

inline bool MayStandInForTheSystemLogger() {
  return ::access(kSystemLog, F_OK) != 0 && ::access("/dev", W_OK) == 0;
}

// A UDP port that nobody has bound now.
inline unsigned FreePort() {
  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = LoopbackAddress("0");
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  Check(::bind(fd, generic, length) == 0, "bind");
  Check(::getsockname(fd, generic, &length) == 0, "getsockname");
  ::close(fd);
  return ntohs(address.sin_port);
}

inline bool IsPort(const Destination& to) {
  return !to.empty() && to.find_first_not_of("0123456789") == Destination::npos;
}

// A connected datagram socket, which the caller closes; -1, with errno, if nobody has bound a
// Unix-domain socket there. With UDP that cannot be known. Throws std::runtime_error if no socket
// can be made.
inline int TryConnectedSocket(const Destination& to) {
  const int fd = ::socket(IsPort(to) ? AF_INET : AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  Check(fd != -1, "socket");
  const auto connect = [fd](const auto& address) {
    return ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  };
  if (IsPort(to) ? connect(LoopbackAddress(to)) : connect(UnixAddress(to))) return fd;
  ::close(fd);  // which leaves errno as it is
  return -1;
}

// The same, but throws also if nobody has bound the socket.
inline int ConnectedSocket(const Destination& to) {
  const int fd = TryConnectedSocket(to);
  Check(fd != -1, "connect to " + to);
  return fd;
}

// A datagram socket bound there, which the caller closes. Throws std::runtime_error.
inline int BoundSocket(const Destination& at) {
  const int fd = ::socket(IsPort(at) ? AF_INET : AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  Check(fd != -1, "socket");
  const auto bind = [fd](const auto& address) {
    return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  };
  Check(IsPort(at) ? bind(LoopbackAddress(at)) : bind(UnixAddress(at)), "bind " + at);
  return fd;
}

// A connected datagram socket that waits for room at its destination.
class Sender {
 public:
  explicit Sender(const Destination& to) : m_fd(ConnectedSocket(to)) {}
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;
  ~Sender() { ::close(m_fd); }

  // Throws std::runtime_error if the text cannot be sent.
  void Send(const std::string& text) const {
    Check(::send(m_fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "send");
  }

 private:
  const int m_fd;
};

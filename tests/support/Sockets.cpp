#include "Sockets.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "Check.h"

namespace {

bool IsPort(const Destination& to) {
  return !to.empty() && to.find_first_not_of("0123456789") == Destination::npos;
}

unsigned PortOf(const Destination& to) { return static_cast<unsigned>(std::stoul(to)); }

template <class Address>
bool TryConnect(int fd, const Address& address) {
  return ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

constexpr std::size_t kEndOfLocalAddress = 20;  // in a line of the table below; the peer's follows

bool IsBoundUdp(unsigned port) {
  std::ifstream table("/proc/net/udp");
  char wanted[8];
  (void)std::snprintf(wanted, sizeof wanted, ":%04X ", port & 0xFFFF);
  for (std::string line; std::getline(table, line);) {
    if (line.find(wanted) < kEndOfLocalAddress) return true;
  }
  return false;
}

}  // namespace

sockaddr_un UnixAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

sockaddr_in LoopbackAddress(unsigned port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

unsigned FreePort() {
  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = LoopbackAddress(0);
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  Check(::bind(fd, generic, length) == 0 && ::getsockname(fd, generic, &length) == 0, "bind");
  ::close(fd);
  return ntohs(address.sin_port);
}

bool IsListening(const Destination& to) {
  if (IsPort(to)) return IsBoundUdp(PortOf(to));
  const int fd = TryConnectedSocket(to);
  if (fd != -1) ::close(fd);
  return fd != -1;
}

int TryConnectedSocket(const Destination& to) {
  const bool udp = IsPort(to);
  const int fd = ::socket(udp ? AF_INET : AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  Check(fd != -1, "socket");
  if (udp ? TryConnect(fd, LoopbackAddress(PortOf(to))) : TryConnect(fd, UnixAddress(to))) {
    return fd;
  }
  const int error = errno;
  ::close(fd);
  errno = error;
  return -1;
}

int ConnectedSocket(const Destination& to) {
  const int fd = TryConnectedSocket(to);
  Check(fd != -1, "connect to " + to);
  return fd;
}

Sender::~Sender() { ::close(m_fd); }

void Sender::Send(const std::string& text) const {
  Check(::send(m_fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "send");
}

#include "Place.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>

void Check(bool ok, const std::string& what) {
  if (!ok) throw std::runtime_error(what + ": " + std::strerror(errno));
}

namespace {

sockaddr_in LoopbackAddress(unsigned port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

sockaddr_un UnixAddress(const std::filesystem::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  return address;
}

template <class Address>
bool TryConnect(int fd, const Address& address) {
  return ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// -1 when nobody listens there. Connecting a UDP socket always succeeds.
int TryConnectedSocket(const Place& place) {
  const int fd = ::socket(place.udp ? AF_INET : AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  Check(fd != -1, "socket");
  const bool connected = place.udp ? TryConnect(fd, LoopbackAddress(place.port))
                                   : TryConnect(fd, UnixAddress(place.Socket()));
  if (connected) return fd;
  const int error = errno;
  ::close(fd);
  errno = error;
  return -1;
}

constexpr std::size_t kEndOfLocalAddress = 20;  // in a line of the table below; the peer's follows

bool IsBoundUdp(unsigned port) {
  std::ifstream table("/proc/net/udp");
  char wanted[8];
  std::snprintf(wanted, sizeof wanted, ":%04X ", port);
  for (std::string line; std::getline(table, line);) {
    if (line.find(wanted) < kEndOfLocalAddress) return true;
  }
  return false;
}

}  // namespace

unsigned FreePort() {
  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = LoopbackAddress(0);
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  Check(::bind(fd, generic, length) == 0 && ::getsockname(fd, generic, &length) == 0, "bind");
  ::close(fd);
  return ntohs(address.sin_port);
}

int ConnectedSocket(const Place& place) {
  const int fd = TryConnectedSocket(place);
  Check(fd != -1, "connect to " + place.Listening());
  return fd;
}

bool IsListening(const Place& place) {
  if (place.udp) return IsBoundUdp(place.port);
  const int fd = TryConnectedSocket(place);
  if (fd != -1) ::close(fd);
  return fd != -1;
}

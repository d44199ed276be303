#include "base/UnixSocket.h"

#include <sys/socket.h>

#include <cerrno>

#include "QELSocket.h"

sockaddr_un UnixAddress(const std::string& path) {
  sockaddr_un address;
  qel::QELSocket::FillSockAddr(path.substr(0, sizeof address.sun_path).c_str(), address);
  return address;
}

CDescriptor ConnectToUnixSocket(const std::string& path, int& error) {
  const sockaddr_un address = UnixAddress(path);
  CDescriptor probe(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  error = errno;
  if (!probe) return probe;
  const auto* const to = reinterpret_cast<const sockaddr*>(&address);
  error = ::connect(probe.Get(), to, sizeof address) == 0 ? 0 : errno;
  return probe;
}

int ProbeUnixSocket(const std::string& path) {
  int error = 0;
  (void)ConnectToUnixSocket(path, error);
  return error;
}

bool IsAlive(const std::string& path) {
  const int error = ProbeUnixSocket(path);
  return error == 0 || error == EPROTOTYPE;
}

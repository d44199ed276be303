#include "base/UnixSocket.h"

#include <sys/socket.h>

#include <cerrno>

#include "QELSocket.h"
#include "base/Descriptor.h"

sockaddr_un UnixAddress(const std::string& path) {
  sockaddr_un address;
  qel::QELSocket::FillSockAddr(path.substr(0, kUnixPathLimit).c_str(), address);
  return address;
}

int ProbeUnixSocket(const std::string& path) {
  const sockaddr_un address = UnixAddress(path);
  const CDescriptor probe(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto* const to = reinterpret_cast<const sockaddr*>(&address);
  return ::connect(probe.Get(), to, sizeof address) == 0 ? 0 : errno;
}

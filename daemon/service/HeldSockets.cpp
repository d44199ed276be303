#include "HeldSockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Environment.h"
#include "Log.h"
#include "QELString.h"
#include "Settings.h"

namespace {

constexpr int kFirst = 3;
constexpr std::size_t kMaxPath = sizeof sockaddr_un{}.sun_path;

// The address of a bound socket.
struct CBoundTo {
  explicit CBoundTo(int fd) {
    socklen_t room = sizeof address;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &room) == 0) length = room;
  }
  template <class Address>
  const Address& As() const {
    return reinterpret_cast<const Address&>(address);
  }

  sockaddr_storage address{};
  std::size_t length = 0;
};

std::string UdpName(int family, const void* address, unsigned port) {
  char text[INET6_ADDRSTRLEN] = "";
  (void)::inet_ntop(family, address, text, sizeof text);
  return qel::QELSPrintf(family == AF_INET ? "UDP %s:%u" : "UDP [%s]:%u", text, port);
}

std::string PathName(const std::string& path) { return "path " + path; }

// Empty if it is not bound.
std::string UnixName(const CBoundTo& bound) {
  const std::size_t length = bound.length - std::min(bound.length, offsetof(sockaddr_un, sun_path));
  const std::string name(bound.As<sockaddr_un>().sun_path, length);
  if (!name.empty() && name[0] == '\0') return "abstract name " + name.substr(1);
  return name.empty() ? "" : PathName(name.substr(0, name.find('\0')));
}

std::string NameOf(const CBoundTo& bound) {
  const auto& ip4 = bound.As<sockaddr_in>();
  const auto& ip6 = bound.As<sockaddr_in6>();
  switch (bound.address.ss_family) {
    case AF_UNIX:
      return UnixName(bound);
    case AF_INET:
      return ip4.sin_port == 0 ? "" : UdpName(AF_INET, &ip4.sin_addr, ntohs(ip4.sin_port));
    case AF_INET6:
      return ip6.sin6_port == 0 ? "" : UdpName(AF_INET6, &ip6.sin6_addr, ntohs(ip6.sin6_port));
    default:
      return "another protocol";
  }
}

// What the receiver would bind.
std::string WantedName(const std::string& port, const std::string& bindingAddress) {
  const int number = CSettings::PortNumber(port);
  if (number == 0) return PathName(port.substr(0, kMaxPath));
  const in_addr_t address =
      bindingAddress.empty() ? htonl(INADDR_ANY) : ::inet_addr(bindingAddress.c_str());
  return UdpName(AF_INET, &address, static_cast<std::uint16_t>(number));
}

// Whether both are paths of one file, as when one leads through a link such as /var/run.
bool AreSameFile(const std::string& one, const std::string& other) {
  const std::string start = PathName("");
  struct stat file, otherFile;
  return one.starts_with(start) && ::stat(one.c_str() + start.size(), &file) == 0 &&
         other.starts_with(start) && ::stat(other.c_str() + start.size(), &otherFile) == 0 &&
         file.st_dev == otherFile.st_dev && file.st_ino == otherFile.st_ino;
}

bool IsDatagramSocket(int fd) {
  int type = 0;
  socklen_t length = sizeof type;
  return ::getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &length) == 0 && type == SOCK_DGRAM;
}

// Such a socket takes nothing any more, and always seems readable.
bool IsShutDown(int fd) {
  pollfd entry{fd, POLLRDHUP, 0};
  return ::poll(&entry, 1, 0) == 1 && (entry.revents & POLLRDHUP) != 0;
}

// Why the socket cannot be used as the one of that name; empty if it can.
std::string WhyNot(int fd, const std::string& wanted) {
  if (!IsDatagramSocket(fd)) return "it is no datagram socket";
  const std::string name = NameOf(CBoundTo(fd));
  if (name.empty()) return "it is not bound";
  if (name != wanted && !AreSameFile(name, wanted)) {
    return "it is bound to " + name + ", not to " + wanted;
  }
  return IsShutDown(fd) ? "it is shut down" : "";
}

}  // namespace

CHeldSockets::CHeldSockets() : m_nEnd(kFirst) {
  const bool areOurs = IsThisProcess(TakeVariable("LISTEN_PID"));
  const std::uint64_t count = NumberOf(TakeVariable("LISTEN_FDS"));
  (void)TakeVariable("LISTEN_FDNAMES");
  if (!areOurs) return;
  // Up to the first that is not open, whatever the variable says.
  while (static_cast<std::uint64_t>(m_nEnd - kFirst) < count &&
         ::fcntl(m_nEnd, F_SETFD, FD_CLOEXEC) == 0) {
    ++m_nEnd;
  }
}

CHeldSockets::~CHeldSockets() {
  while (m_nEnd > kFirst) ::close(--m_nEnd);
}

int CHeldSockets::Take(const std::string& port, const std::string& bindingAddress) {
  const std::string wanted = WantedName(port, bindingAddress);
  int taken = -1;
  for (int fd = kFirst; fd < m_nEnd; ++fd) {
    std::string why = WhyNot(fd, wanted);
    if (why.empty() && taken != -1) why = "another one is used";
    if (why.empty()) {
      taken = fd;
      continue;
    }
    Log(kLogError, "descriptor %d of the service manager is not used: %s", fd, why.c_str());
    ::close(fd);
  }
  m_nEnd = kFirst;
  return taken;
}

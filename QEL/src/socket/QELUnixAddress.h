#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

namespace qel {

// All bind, connect and send calls pass this whole structure, whatever the path's length.
inline constexpr unsigned kUnixAddressLength = sizeof(sockaddr_un);
static_assert(kUnixAddressLength == 110);

// A path of 108 bytes or more is cut there and has no terminating NUL.
inline sockaddr_un CutUnixAddress(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path, ::strnlen(path, sizeof address.sun_path));
  return address;
}

inline const sockaddr* AsSockaddr(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace qel

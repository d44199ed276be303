#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The kernel's queue of a receiving datagram socket, in the calling process's network namespace.
/// Anyone may ask.
struct CSocketQueue {
  std::uint64_t used;     // UDP: bytes of kernel memory; Unix-domain: bytes of the oldest datagram
  std::uint64_t limit;    // UDP: bytes of kernel memory; Unix-domain: 0
  std::uint64_t dropped;  // datagrams, since the socket was made; Unix-domain sockets drop none
};

/// Of the IPv4 UDP socket bound to a port, and to a dotted address or, when that is empty, to any.
/// Empty when there is no such socket. Throws CFailure when the kernel does not answer.
std::optional<CSocketQueue> UdpQueue(const std::string& address, std::uint16_t port);

/// Of the Unix-domain socket bound to a path, as it was written at the binding.
std::optional<CSocketQueue> UnixQueue(const std::string& path);

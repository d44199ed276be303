#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The kernel's receive queue of a datagram socket in the network namespace of the calling process.
/// Needs no privileges.
struct CSocketQueue {
  std::uint64_t used;     // UDP: bytes of kernel memory; Unix-domain: bytes of the oldest datagram
  std::uint64_t limit;    // UDP: bytes of kernel memory; Unix-domain: 0
  std::uint64_t dropped;  // datagrams since the socket was made; Unix-domain sockets drop none
};

/// The queue of the IPv4 UDP socket bound to a port and to a dotted address, or to any if `address`
/// is empty. Empty if there is no such socket. Throws CFailure if the kernel refuses to answer.
std::optional<CSocketQueue> UdpQueue(const std::string& address, std::uint16_t port);

/// The same of the Unix-domain socket bound to exactly this path, which may be relative.
std::optional<CSocketQueue> UnixQueue(const std::string& path);

#pragma once

#include <netinet/in.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A datagram socket of the network namespace of the calling process, as the kernel tells every
/// user.
struct CKernelSocket {
  std::uint64_t inode;         // as in the link of a descriptor, "socket:[inode]"
  in_addr_t address;           // UDP: in network order
  std::uint16_t port;          // UDP: 0 if it is not bound
  std::string path;            // Unix-domain: as it was bound; empty if it was not, or to no path
  std::uint64_t peer;          // Unix-domain: the inode of the one that it is connected to; else 0
  std::optional<uid_t> owner;  // Unix-domain: who made it; empty before Linux 5.3

  // The receive queue.
  std::uint64_t used;     // UDP: bytes of kernel memory; Unix-domain: bytes of the oldest datagram
  std::uint64_t limit;    // UDP: bytes of kernel memory; Unix-domain: 0
  std::uint64_t dropped;  // datagrams since the socket was made; Unix-domain sockets drop none
};

/// All of them: of UDP over IPv4, and of the Unix domain. Throw CFailure, "ask the kernel about
/// sockets: ...".
std::vector<CKernelSocket> UdpSockets();
std::vector<CKernelSocket> UnixSockets();

/// The address that a UDP socket is bound to by BindingAddress: dotted, or empty for any.
in_addr_t AddressOf(const std::string& bindingAddress);

/// The UDP port that Port means: the last 16 bits of its number.
std::uint16_t UdpPortOf(const std::string& port);

/// The UDP socket that is bound to exactly this.
std::optional<CKernelSocket> UdpSocketAt(in_addr_t address, std::uint16_t port);

/// Tries to bind a UDP socket. Returns 0 or the errno value.
int ErrorOfBinding(in_addr_t address, std::uint16_t port);

/// Who receives at the path of a Unix-domain socket.
struct CReceiver {
  int error;                            // as from ProbeUnixSocket
  std::optional<CKernelSocket> socket;  // none if it is of another network namespace

  /// There is no socket, or nobody holds it.
  bool IsNobody() const { return error == ENOENT || error == ECONNREFUSED; }
};

/// Connects to the path, which sends nothing. Throws CFailure as UnixSockets does.
CReceiver ReceiverAt(const std::string& path);

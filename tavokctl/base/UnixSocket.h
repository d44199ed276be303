#pragma once

#include <sys/un.h>

#include <string>

/// The longest path of a Unix-domain socket: of 108 bytes, one is for the NUL.
inline constexpr std::size_t kUnixPathLimit = 107;

/// The address of a Unix-domain socket. A path over that limit is cut.
sockaddr_un UnixAddress(const std::string& path);

/// Connects a datagram socket to the path, to see whether a process holds the socket there. Returns
/// 0 or the errno value: ECONNREFUSED if nobody does, or if it is a file of another kind;
/// EPROTOTYPE if somebody does, but not for datagrams. Sends nothing and does not block.
int ProbeUnixSocket(const std::string& path);

#pragma once

#include <sys/un.h>

#include <string>

#include "base/Descriptor.h"

/// The longest path of a Unix-domain socket: of 108 bytes, one is for the NUL.
inline constexpr std::size_t kUnixPathLimit = 107;

/// The address of a Unix-domain socket. A path over 108 bytes is cut there, as tavok does.
sockaddr_un UnixAddress(const std::string& path);

/// Connects a datagram socket to the path, to see whether a process holds the socket there. Sends
/// nothing and does not block. `error` becomes 0 or the errno value: ECONNREFUSED if nobody holds
/// it, or if it is a file of another kind; EPROTOTYPE if somebody does, but not for datagrams.
CDescriptor ConnectToUnixSocket(const std::string& path, int& error);

/// The same; returns the error.
int ProbeUnixSocket(const std::string& path);

/// Whether a process holds the socket at the path, of whatever type.
bool IsAlive(const std::string& path);

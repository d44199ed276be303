#pragma once

#include <filesystem>
#include <string>

/// Where a subject listens and what it writes.
struct Place {
  std::filesystem::path Socket() const { return directory / "socket"; }
  std::filesystem::path LogDirectory() const { return directory / "log"; }
  std::filesystem::path Log() const { return LogDirectory() / "tmp.tavok"; }

  /// The port or the socket's path.
  std::string Listening() const { return udp ? std::to_string(port) : Socket().string(); }

  std::filesystem::path directory;
  bool udp = false;   // listens on the port, of 127.0.0.1; else on the socket
  unsigned port = 0;  // UDP
};

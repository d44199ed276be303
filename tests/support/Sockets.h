#pragma once

#include <netinet/in.h>
#include <sys/un.h>

#include <string>

// Where datagrams go: the path of a Unix-domain socket, or, if it is a number, a UDP port of this
// host's loopback address. As the setting Port has it.
using Destination = std::string;

sockaddr_un UnixAddress(const std::string& path);
sockaddr_in LoopbackAddress(unsigned port);

// A UDP port that nobody has bound now.
unsigned FreePort();

// Whether somebody has bound the destination.
bool IsListening(const Destination& to);

// A connected datagram socket, which the caller closes; -1, with errno, if nobody has bound a
// Unix-domain socket there. With UDP that cannot be known. Throws std::runtime_error if no socket
// can be made.
int TryConnectedSocket(const Destination& to);

// The same, but throws also if nobody has bound the socket.
int ConnectedSocket(const Destination& to);

// A connected datagram socket that waits for room at its destination.
class Sender {
 public:
  explicit Sender(const Destination& to) : m_fd(ConnectedSocket(to)) {}
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;
  ~Sender();

  // Throws std::runtime_error if the text cannot be sent.
  void Send(const std::string& text) const;

 private:
  const int m_fd;
};

// The receiving half of a datagram's path, beside the system calls that it cannot do without.

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "Piece.h"
#include "QELSocket.h"

namespace {

const std::string kText(100, 'x');

// Two connected sockets; what goes into one comes out of the other.
struct SocketPair {
  SocketPair() {
    if (::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) == -1) std::abort();
    receiver.Attach(static_cast<unsigned>(ends[1]));
    Send();
  }
  SocketPair(const SocketPair&) = delete;
  SocketPair& operator=(const SocketPair&) = delete;
  ~SocketPair() { ::close(ends[0]); }

  void Send() { benchmark::DoNotOptimize(::send(ends[0], kText.data(), kText.size(), 0)); }

  int ends[2] = {};
  qel::QELSocket receiver;
  char text[1024] = {};
  sockaddr_storage from{};
  sockaddr* const address = reinterpret_cast<sockaddr*>(&from);
  unsigned length = sizeof from;
};

// These receive one and send the next, the cost of sending included.
struct SocketReceive : SocketPair {
  auto operator()() {
    length = sizeof from;
    const auto size = receiver._ReceiveFromEx(text, sizeof text, address, &length, 0, 1);
    Send();
    return size;
  }
};
struct Recvfrom : SocketPair {
  auto operator()() {
    length = sizeof from;
    const auto size = ::recvfrom(ends[1], text, sizeof text, 0, address, &length);
    Send();
    return size;
  }
};

// A wait that is over at once: select, and the look for a pending error.
struct SocketWait : SocketPair {
  auto operator()() { return receiver.Select(qel::QELSocket::kReadable, 5000); }
};
struct Poll : SocketPair {
  auto operator()() {
    pollfd entry{ends[1], POLLIN, 0};
    return ::poll(&entry, 1, 5000);
  }
};

}  // namespace

void AddSocketPieces() {
  Piece("SocketReceive", [] { return SocketReceive(); });
  Piece("SocketReceive_Recvfrom", [] { return Recvfrom(); });
  Piece("SocketWait", [] { return SocketWait(); });
  Piece("SocketWait_Poll", [] { return Poll(); });
}

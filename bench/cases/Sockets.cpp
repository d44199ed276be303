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
class SocketPair {
 public:
  SocketPair() {
    if (::socketpair(AF_UNIX, SOCK_DGRAM, 0, m_ends) == -1) std::abort();
    m_receiver.Attach(static_cast<unsigned>(m_ends[1]));
  }
  SocketPair(const SocketPair&) = delete;
  SocketPair& operator=(const SocketPair&) = delete;
  ~SocketPair() { ::close(m_ends[0]); }

  auto Send() const { return ::send(m_ends[0], kText.data(), kText.size(), 0); }

 protected:
  int m_ends[2];
  qel::QELSocket m_receiver;
  char m_text[1024];
  alignas(sockaddr) char m_from[4096];
  unsigned m_length = sizeof m_from;
  sockaddr* const m_address = reinterpret_cast<sockaddr*>(m_from);
};

// These receive one for each that is sent, the cost of sending included.
struct SocketReceive : SocketPair {
  auto operator()() {
    benchmark::DoNotOptimize(Send());
    m_length = sizeof m_from;
    return m_receiver._ReceiveFromEx(m_text, sizeof m_text, m_address, &m_length, 0, 1);
  }
};
struct Recvfrom : SocketPair {
  auto operator()() {
    benchmark::DoNotOptimize(Send());
    m_length = sizeof m_from;
    return ::recvfrom(m_ends[1], m_text, sizeof m_text, 0, m_address, &m_length);
  }
};

// A wait that is over at once: select, and the look for a pending error.
struct SocketWait : SocketPair {
  SocketWait() { Send(); }
  auto operator()() { return m_receiver.Select(qel::QELSocket::kReadable, 5000); }
};
struct Poll : SocketPair {
  Poll() { Send(); }
  auto operator()() {
    pollfd entry{m_ends[1], POLLIN, 0};
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

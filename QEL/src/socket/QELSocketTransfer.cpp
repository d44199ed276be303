#include <cerrno>
#include <cstring>

#include "QELSocket.h"
#include "socket/QELWouldBlock.h"

namespace qel {

unsigned QELSocket::SendString(const char* text, int flags) {
  const auto len = static_cast<unsigned>(std::strlen(text));
  return Transfer(len, 0, kWritable, m_nWriteTimeout, [=, this](unsigned sent) {
    return ::send(m_hSocket, text + sent, len - sent, flags | MSG_NOSIGNAL);
  });
}

unsigned QELSocket::SendTo(const char* buf, unsigned len, const sockaddr* to, int tolen, int flags,
                           unsigned maxWrites) {
  return Transfer(len, maxWrites, kWritable, m_nWriteTimeout, [=, this](unsigned sent) {
    return ::sendto(m_hSocket, buf + sent, len - sent, flags, to, static_cast<socklen_t>(tolen));
  });
}

unsigned QELSocket::SendTo(const char* buf, unsigned len, const sockaddr_in& to, int flags,
                           unsigned maxWrites) {
  return SendTo(buf, len, reinterpret_cast<const sockaddr*>(&to), sizeof to, flags, maxWrites);
}

unsigned QELSocket::SendTo(const char* buf, unsigned len, const char* host, unsigned port,
                           int flags, unsigned maxWrites) {
  sockaddr_in to;
  FillSockAddr(host, port, to);
  return SendTo(buf, len, to, flags, maxWrites);
}

int QELSocket::AsyncSend(const char* buf, unsigned len, int flags) {
  return static_cast<int>(::send(m_hSocket, buf, len, flags | MSG_NOSIGNAL));
}

unsigned QELSocket::_ReceiveFromEx(char* buf, unsigned len, sockaddr* from, unsigned* fromlen,
                                   int flags, unsigned maxReads) {
  return Transfer(len, maxReads, kReadable, m_nReadTimeout, [=, this](unsigned got) {
    const ssize_t received = ::recvfrom(m_hSocket, buf + got, len - got, flags, from, fromlen);
    if (received == 0) ThrowClosed();
    return received;
  });
}

unsigned QELSocket::_Receive(char* buf, unsigned len, int flags, unsigned maxReads) {
  return Transfer(len, maxReads, kReadable, m_nReadTimeout, [=, this](unsigned got) {
    const ssize_t received = ::recv(m_hSocket, buf + got, len - got, flags | MSG_NOSIGNAL);
    if (received == 0) ThrowClosed();
    return received;
  });
}

int QELSocket::_AsyncReceive(char* buf, unsigned len, int flags) {
  return static_cast<int>(::recv(m_hSocket, buf, len, flags | MSG_NOSIGNAL));
}

// Moves up to `len` bytes by `call`, which gets the count so far and returns like send and recv.
// Ends early when `maxCalls` calls (0: any number) have moved bytes, when a call moves none, or
// when a wait for readiness ends in a time-out. A signal that interrupts `call` is an error.
template <class Call>
unsigned QELSocket::Transfer(unsigned len, unsigned maxCalls, int what, unsigned timeoutMs,
                             Call call) {
  unsigned done = 0;
  unsigned calls = 0;
  while (done < len && (maxCalls == 0 || calls < maxCalls)) {
    const ssize_t moved = call(done);
    if (moved == 0) break;
    if (moved > 0) {
      done += static_cast<unsigned>(moved);
      ++calls;
    } else if (!WouldBlock(errno)) {
      ThrowExcep(true);
    } else if (!Select(what, timeoutMs)) {
      break;
    }
  }
  return done;
}

void QELSocket::ThrowClosed() {
  errno = ECONNRESET;
  ThrowExcep(false);
}

}  // namespace qel

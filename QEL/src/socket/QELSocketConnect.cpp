#include <cerrno>

#include "QELSocket.h"
#include "QELThread.h"
#include "socket/QELUnixAddress.h"
#include "socket/QELWouldBlock.h"

namespace qel {
namespace {

const sockaddr* AsSockaddr(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

bool QELSocket::Connect(const sockaddr* addr, int len) {
  return AsyncConnect(addr, len) || Select(kWritable, m_nConnectTimeout);
}

bool QELSocket::Connect(const char* host, unsigned port) {
  sockaddr_in addr;
  ResolvePeer(host, port, addr);
  return Connect(AsSockaddr(addr), sizeof addr);
}

bool QELSocket::ConnectUnix(const char* path) {
  const sockaddr_un addr = CutUnixAddress(path);
  return Connect(AsSockaddr(addr), kUnixAddressLength);
}

bool QELSocket::AsyncConnect(const sockaddr* addr, int len) {
  if (::connect(m_hSocket, addr, static_cast<socklen_t>(len)) == 0) return true;
  if (!WouldBlock(errno)) ThrowExcep(true);
  return false;
}

bool QELSocket::AsyncConnect(const char* host, unsigned port) {
  sockaddr_in addr;
  ResolvePeer(host, port, addr);
  return AsyncConnect(AsSockaddr(addr), sizeof addr);
}

bool QELSocket::Accept(QELSocket& client, sockaddr* addr, int* len) {
  QELThread::RunCurrentAPCs();
  int fd = AcceptDescriptor(addr, len);
  while (fd == -1 && errno == EINTR) fd = AcceptDescriptor(addr, len);
  if (fd == -1 && WouldBlock(errno)) {
    if (!Select(kReadable, m_nAcceptTimeout)) return false;
    fd = AcceptDescriptor(addr, len);
  }
  Check(fd);
  client.Adopt(fd);
  return true;
}

int QELSocket::AcceptDescriptor(sockaddr* addr, int* len) {
  return ::accept4(m_hSocket, addr, reinterpret_cast<socklen_t*>(len), SOCK_CLOEXEC);
}

}  // namespace qel

#include "QELSocket.h"

#include <arpa/inet.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "QELThread.h"
#include "socket/QELUnixAddress.h"

namespace qel {
namespace {

bool IsCallerBeingKilled() {
  QELThread* const thread = QELThread::Current();
  return thread != nullptr && thread->ConfirmKilled();
}

// Reads an IPv4 address by one of the two name calls.
template <class GetName>
void ReadName(GetName getName, std::string& address, unsigned& port) {
  sockaddr_in name{};
  unsigned len = sizeof name;
  getName(reinterpret_cast<sockaddr*>(&name), &len);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&name.sin_addr);
  char text[18];
  (void)std::snprintf(text, sizeof text, "%d.%d.%d.%d", bytes[0], bytes[1], bytes[2], bytes[3]);
  address = text;
  port = ntohs(name.sin_port);
}

}  // namespace

bool QELSocket::m_bUsePollSocket = false;
bool QELSocket::m_bFdSetValidation = false;

QELSocket::QELSocket(unsigned fd) : m_hSocket(static_cast<int>(fd)) {}

QELSocket::~QELSocket() noexcept(false) {
  if (m_hSocket == -1) return;
  try {
    QELSocket::Close();
  } catch (const QELSocketExcep&) {
    // A destructor has no caller to report to.
  } catch (const CCancelThreadExcep&) {
    throw;
  } catch (...) {
    if (IsCallerBeingKilled()) throw;
  }
}

void QELSocket::Close() {
  if (m_hSocket == -1) return;
  DropBuffered();
  // The descriptor is forgotten first: a thread that is cancelled in close must not close it again,
  // since by then it may be another file's.
  Check(::close(std::exchange(m_hSocket, -1)));
}

void QELSocket::Attach(unsigned fd) {
  if (m_hSocket != -1) Close();
  Adopt(static_cast<int>(fd));
}

int QELSocket::Detach() {
  DropBuffered();
  return std::exchange(m_hSocket, -1);
}

void QELSocket::Create(unsigned port, const char* address, int type) {
  Open(AF_INET, type);
  Bind(port, address);
}

void QELSocket::CreateUnix(const char* path, int type) {
  Open(AF_UNIX, type);
  BindUnix(path);
}

void QELSocket::Bind(const sockaddr* addr, int len) {
  if (m_bReuseAddr != 0) {
    const int on = 1;
    SetSockOpt(SO_REUSEADDR, &on, sizeof on, SOL_SOCKET);
  }
  Check(::bind(m_hSocket, addr, static_cast<socklen_t>(len)));
}

void QELSocket::Bind(unsigned port, const char* address) {
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<in_port_t>(port));
  if (address != nullptr) {
    addr.sin_addr.s_addr = ::inet_addr(address);
    if (addr.sin_addr.s_addr == INADDR_NONE) ThrowInvalid();
  }
  Bind(reinterpret_cast<const sockaddr*>(&addr), sizeof addr);
}

void QELSocket::BindUnix(const char* path) {
  const sockaddr_un addr = CutUnixAddress(path);
  Bind(AsSockaddr(addr), kUnixAddressLength);
}

bool QELSocket::Listen(int backlog) {
  Check(::listen(m_hSocket, backlog));
  return true;
}

void QELSocket::SetSockOpt(int optname, const void* value, int len, int level) {
  Check(::setsockopt(m_hSocket, level, optname, value, static_cast<socklen_t>(len)));
}

void QELSocket::GetSockOpt(int optname, void* value, int* len, int level) {
  Check(::getsockopt(m_hSocket, level, optname, value, reinterpret_cast<socklen_t*>(len)));
}

void QELSocket::IOCtl(long request, unsigned* arg) {
  Check(::ioctl(m_hSocket, static_cast<unsigned long>(request), arg));
}

unsigned QELSocket::GetTotalNonBlockedReadBytes() {
  unsigned waiting = 0;
  IOCtl(FIONREAD, &waiting);
  return waiting + m_nBufferedBytes;
}

void QELSocket::GetSockName(sockaddr* addr, unsigned* len) {
  Check(::getsockname(m_hSocket, addr, len));
}

void QELSocket::GetPeerName(sockaddr* addr, unsigned* len) {
  Check(::getpeername(m_hSocket, addr, len));
}

void QELSocket::GetSockName(std::string& address, unsigned& port) {
  ReadName([this](sockaddr* addr, unsigned* len) { GetSockName(addr, len); }, address, port);
}

void QELSocket::GetPeerName(std::string& address, unsigned& port) {
  ReadName([this](sockaddr* addr, unsigned* len) { GetPeerName(addr, len); }, address, port);
}

void QELSocket::ValidateFd() {
  if (m_hSocket >= FD_SETSIZE) ThrowInvalid();
}

void QELSocket::ThrowExcep(bool trace) {
  m_nErrorCode = errno;
  ThrowQELSocketExcep(*this, trace);
}

void QELSocket::Adopt(int fd) {
  m_hSocket = fd;
  SetNonBlocking();
}

void QELSocket::Open(int family, int type) {
  Close();
  m_hSocket = ::socket(family, type | SOCK_CLOEXEC, 0);
  Check(m_hSocket);
  SetNonBlocking();
}

void QELSocket::DropBuffered() {
  m_nBufferedBytes = 0;
  m_nBufferOffset = 0;
}

void QELSocket::SetNonBlocking() {
  unsigned on = 1;
  IOCtl(FIONBIO, &on);
}

void QELSocket::Check(int result) {
  if (result == -1) ThrowExcep(true);
}

void QELSocket::ThrowInvalid() {
  errno = EINVAL;
  ThrowExcep(true);
}

}  // namespace qel

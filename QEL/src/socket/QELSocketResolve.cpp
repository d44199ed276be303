#include <arpa/inet.h>
#include <netdb.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "QELSocket.h"

namespace qel {
namespace {

// Fills the address from a dotted text or by lookup. Returns the lookup's result, or 1 if
// none was made.
int Resolve(const char* host, in_addr& address) {
  address.s_addr = ::inet_addr(host);
  if (address.s_addr != INADDR_NONE) return 1;
  IPBufferArray found;
  found.m_pAddresses = found.m_aAddresses;
  const int count = g_QEL_gethostbyname(host, &found, 1);
  if (count > 0) address.s_addr = found.m_aAddresses[0];
  return count;
}

sockaddr_in AnyAddress(unsigned port) {
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<in_port_t>(port));
  return addr;
}

// Copies IPv4 addresses in their order, up to `max`. Returns how many.
int CopyAddresses(const hostent& host, in_addr_t* to, int max) {
  int count = 0;
  if (host.h_addrtype != AF_INET) return count;
  for (char** from = host.h_addr_list; *from != nullptr && count < max; ++from, ++count) {
    std::memcpy(&to[count], *from, sizeof to[count]);
  }
  return count;
}

}  // namespace

int (*g_QEL_gethostbyname)(const char*, IPBufferArray*, int) = qel_gethostbyname_impl;

int qel_gethostbyname_impl(const char* name, IPBufferArray* out, int max) {
  if (out == nullptr) return -1;
  std::memset(out->m_szName, 0, sizeof out->m_szName);
  hostent host;
  hostent* found = nullptr;
  char work[10240];
  int error = 0;
  if (::gethostbyname_r(name, &host, work, sizeof work, &found, &error) != 0) return -1;
  if (found == nullptr) return -1;
  std::strncpy(out->m_szName, found->h_name, sizeof out->m_szName - 1);
  return CopyAddresses(*found, out->m_aAddresses, std::min(max, IPBufferArray::kCapacity));
}

void QELSocket::FillSockAddr(const char* host, unsigned port, sockaddr_in& addr) {
  addr = AnyAddress(port);
  if (host != nullptr && Resolve(host, addr.sin_addr) < 1) ThrowInvalid();
}

void QELSocket::FillSockAddr(const char* path, sockaddr_un& addr) {
  addr = {};
  addr.sun_family = AF_UNIX;
  std::memcpy(addr.sun_path, path, std::strlen(path));
}

bool QELSocket::IsIP(const char* text) { return ::inet_addr(text) != INADDR_NONE; }

void QELSocket::ResolvePeer(const char* host, unsigned port, sockaddr_in& addr) {
  addr = AnyAddress(port);
  const int count = Resolve(host, addr.sin_addr);
  if (count == 0) ThrowInvalid();
  if (count < 0) {
    QELError lookup;
    lookup.m_nErrorCode = errno;
    ThrowQELSocketExcep(lookup, true);
  }
}

}  // namespace qel

#include "Log.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "QELBuffer.h"
#include "QELSocket.h"

CSysLog g_syslog;

namespace {

constexpr int kOutletWaitMs = 100;

// Returns false when what is behind the descriptor takes nothing, and has not for a while. Whatever
// is wrong with it otherwise shows, and does no harm, when it is written to.
bool HasRoom(int fd) {
  pollfd entry{fd, POLLOUT, 0};
  return ::poll(&entry, 1, kOutletWaitMs) != 0;
}

// The C library's syslog waits for ever for a system logger that is there but reads nothing. A
// socket of our own tells beforehand: it is writable when the logger's queue has room.
bool SystemLogHasRoom() {
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd == -1) return true;
  sockaddr_un address;
  qel::QELSocket::FillSockAddr(_PATH_LOG, address);
  const auto* const to = reinterpret_cast<const sockaddr*>(&address);
  const bool room = ::connect(fd, to, sizeof address) == -1 || HasRoom(fd);
  ::close(fd);
  return room;
}

}  // namespace

CSysLog::CSysLog() { ::openlog(m_strIdent.c_str(), LOG_PID, LOG_LOCAL0); }

void Log(int priority, const char* format, ...) {
  qel::CTempBuffer<20480, char> buffer;
  // The text begins one byte into the buffer: Chomp looks at the byte before an empty one.
  buffer.Data()[0] = '\0';
  char* const text = buffer.Data() + 1;
  text[0] = '\0';
  va_list args;
  va_start(args, format);
  (void)std::vsnprintf(text, buffer.Size() - 1, format, args);
  va_end(args);
  int length = static_cast<int>(std::strlen(text));
  Chomp(text, length);
  if (HasRoom(STDERR_FILENO)) (void)std::fprintf(stderr, "%s\n", text);
  if (!g_syslog.m_bNoSyslog && SystemLogHasRoom()) ::syslog(priority, "%s", text);
}

void Chomp(char* text, int& length) {
  if (text[length - 1] == '\n') text[--length] = '\0';
  if (text[length - 1] == '\r') text[--length] = '\0';
}

#include "Log.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "QELBuffer.h"
#include "QELSocket.h"

CSysLog g_syslog;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kOutletWaitMs = 100;
constexpr long kMs = 1'000'000;  // in nanoseconds

Clock::time_point OutletDeadline() {
  return Clock::now() + std::chrono::milliseconds(kOutletWaitMs);
}

// Interrupts the calling thread's blocking calls: first after kOutletWaitMs, then every 10 ms,
// since a signal that arrives just before a call does not interrupt it. SIGURG is ignored by
// default, so that nobody sends it to the process to achieve something else.
class CInterrupter {
 public:
  CInterrupter() {
    struct sigaction action {};  // without SA_RESTART
    action.sa_handler = [](int) {};
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGURG);
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = SIGURG;
    event._sigev_un._tid = ::gettid();
    constexpr itimerspec kTimes{{0, 10 * kMs}, {0, kOutletWaitMs * kMs}};
    ::pthread_sigmask(SIG_UNBLOCK, &signals, &m_mask);
    m_isMade = ::sigaction(SIGURG, &action, nullptr) == 0 &&
               ::timer_create(CLOCK_MONOTONIC, &event, &m_timer) == 0;
    m_isArmed = m_isMade && ::timer_settime(m_timer, 0, &kTimes, nullptr) == 0;
  }
  CInterrupter(const CInterrupter&) = delete;
  CInterrupter& operator=(const CInterrupter&) = delete;
  ~CInterrupter() {
    if (m_isMade) ::timer_delete(m_timer);
    ::pthread_sigmask(SIG_SETMASK, &m_mask, nullptr);
  }
  bool IsArmed() const { return m_isArmed; }

 private:
  sigset_t m_mask;
  timer_t m_timer = nullptr;
  bool m_isMade = false;
  bool m_isArmed = false;
};

// Writes as much as the reader takes before the deadline. A descriptor that poll reports as
// writable may still block: the text may be longer than the room, or another process may take the
// room first. O_NONBLOCK would change the pipe or terminal for everybody who shares it, and opening
// it a second time takes a permission that may be missing. An interrupted write ends on any kind of
// descriptor. Where no timer can be had, as at the user's limit of pending signals, no write is
// longer than what a pipe that poll reports as writable has room for.
void WriteToStandardError(const char* text, std::size_t length) {
  const CInterrupter interrupter;
  const std::size_t most = interrupter.IsArmed() ? length : PIPE_BUF;
  const auto deadline = OutletDeadline();
  do {
    pollfd entry{STDERR_FILENO, POLLOUT, 0};
    const int ready = ::poll(&entry, 1, kOutletWaitMs);
    if (ready == 0 || (ready == -1 && errno == EINTR)) continue;
    const ssize_t written = ::write(STDERR_FILENO, text, std::min(length, most));
    if (written == -1 && errno != EINTR && errno != EAGAIN) return;
    if (written <= 0) continue;
    text += written;
    length -= static_cast<std::size_t>(written);
  } while (length > 0 && Clock::now() < deadline);
}

// Repeats a call that a signal has interrupted, until the deadline.
template <class Call>
auto Uninterrupted(Call call) {
  const auto deadline = OutletDeadline();
  auto result = call();
  while (result == -1 && errno == EINTR && Clock::now() < deadline) result = call();
  return result;
}

// Formats what the C library's syslog puts before a message: "<134>Jan  2 03:04:05 [tavok][1]: ".
std::size_t FormatHeader(char (&header)[64], int priority) {
  if ((priority & LOG_FACMASK) == 0) priority |= LOG_LOCAL0;
  const std::time_t now = std::time(nullptr);
  std::tm local;
  char stamp[32];
  (void)std::strftime(stamp, sizeof stamp, "%b %e %T", ::localtime_r(&now, &local));
  return static_cast<std::size_t>(std::snprintf(header, sizeof header, "<%d>%s %s[%d]: ", priority,
                                                stamp, g_syslog.m_strIdent.c_str(), ::getpid()));
}

// Returns false if the system logger listens to another type of socket.
bool SendToSystemLogger(int type, iovec (&parts)[2]) {
  const int fd = ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  if (fd == -1) return true;
  constexpr timeval kLimit{0, 1000L * kOutletWaitMs};
  sockaddr_un address;
  qel::QELSocket::FillSockAddr(_PATH_LOG, address);
  const auto* const to = reinterpret_cast<const sockaddr*>(&address);
  const bool limited = ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kLimit, sizeof kLimit) == 0;
  const bool connected =
      limited && Uninterrupted([&] { return ::connect(fd, to, sizeof address); }) == 0;
  const bool otherType = limited && !connected && errno == EPROTOTYPE;
  if (connected) {
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    (void)Uninterrupted([&] { return ::sendmsg(fd, &message, MSG_NOSIGNAL); });
  }
  ::close(fd);
  return !otherType;
}

// Sends what the C library's syslog would send. That function itself waits without limit for a
// system logger that reads nothing. In a stream, a NUL ends each message.
void WriteToSystemLog(int priority, char* text, std::size_t length) {
  char header[64];
  iovec parts[2] = {{header, FormatHeader(header, priority)}, {text, length}};
  if (SendToSystemLogger(SOCK_DGRAM, parts)) return;
  parts[1].iov_len += 1;
  (void)SendToSystemLogger(SOCK_STREAM, parts);
}

}  // namespace

CSysLog::CSysLog() {
  ::openlog(m_strIdent.c_str(), LOG_PID, LOG_LOCAL0);
  ::tzset();  // which allocates: otherwise the first message would
}

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
  const auto size = static_cast<std::size_t>(length);
  text[size] = '\n';
  WriteToStandardError(text, size + 1);
  text[size] = '\0';
  if (!g_syslog.m_bNoSyslog) WriteToSystemLog(priority, text, size);
}

void Chomp(char* text, int& length) {
  if (text[length - 1] == '\n') text[--length] = '\0';
  if (text[length - 1] == '\r') text[--length] = '\0';
}

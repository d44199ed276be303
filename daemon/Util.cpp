#include "Util.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "QELBuffer.h"
#include "QELFile.h"
#include "QELSocket.h"
#include "QELString.h"

CSysLog g_syslog;

namespace {

constexpr int kOutletWaitMs = 100;
constexpr std::chrono::microseconds kTakeOverWait = std::chrono::seconds(5);

// Sleeps the whole time, also when signals come meanwhile.
void Sleep(std::chrono::microseconds time) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + time;
  while (time.count() > 0 && ::usleep(static_cast<useconds_t>(time.count())) == -1 &&
         errno == EINTR) {
    time = std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now());
  }
}

// Returns an empty text when the file cannot be read.
std::string ReadFile(const std::string& path) {
  try {
    qel::CFile file;
    file.Open(path, "r");
    std::string content;
    file.ReadAll(content);
    return content;
  } catch (const qel::CFile::CException&) {
    return {};
  }
}

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

bool IsDirectory(const char* path) {
  struct stat status;
  return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
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

void updatepidfile(const std::string& path) {
  try {
    qel::CFile file;
    file.Open(path, "w");
    const std::string digits = qel::QELSPrintf("%ld", static_cast<long>(::getpid()));
    (void)file.Write(digits.data(), digits.size());
  } catch (const qel::CFile::CException&) {
    Log(kLogError, "failed to write to pid file %s ", path.c_str());
  }
}

void killfromfile(int signal, const std::string& path) {
  const std::string content = ReadFile(path);
  if (content.empty()) return;
  const auto pid = static_cast<pid_t>(std::strtol(content.c_str(), nullptr, 10));
  if (::kill(pid, signal) == 0 && signal == SIGTERM) {
    Log(kLogInfo, "killed previous daemon. pid=%d", pid);
  }
  Sleep(kTakeOverWait);
}

std::string GetTempPath() {
  const char* const configured = std::getenv("TMPDIR");
  if (configured != nullptr && IsDirectory(configured)) return configured;
  return IsDirectory("/tmp") ? "/tmp" : "";
}

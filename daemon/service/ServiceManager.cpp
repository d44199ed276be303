#include "ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Environment.h"

namespace {

constexpr std::uint64_t kLongestIntervalUs = 5'000'000;
constexpr std::uint64_t kShortestIntervalUs = 1'000;

// The time-out of the manager's watchdog in microseconds; 0 if it watches nobody, or another
// process.
std::uint64_t WatchdogUs() {
  const std::string pid = TakeVariable("WATCHDOG_PID");
  const std::uint64_t timeout = NumberOf(TakeVariable("WATCHDOG_USEC"));
  return pid.empty() || IsThisProcess(pid) ? timeout : 0;
}

std::string StatusOf(bool receives, bool hasFile) {
  if (receives) return hasFile ? "receiving" : "no file is open";
  return hasFile ? "reception has ended" : "reception has ended, and no file is open";
}

}  // namespace

CServiceManager::CServiceManager() : m_strSocket(TakeVariable("NOTIFY_SOCKET")) {
  const std::uint64_t timeout = WatchdogUs();
  m_bWatchdog = IsThere() && timeout != 0;
  m_nLookIntervalUs = static_cast<unsigned>(
      m_bWatchdog ? std::clamp(timeout / 2, kShortestIntervalUs, kLongestIntervalUs)
                  : kLongestIntervalUs);
}

void CServiceManager::Look(bool receives, bool hasFile) {
  if (!m_bReady) m_bReady = Tell("READY=1");
  const std::string status = StatusOf(receives, hasFile);
  if (status != m_strTold && Tell("STATUS=" + status)) m_strTold = status;
  if (m_bWatchdog && receives && hasFile) (void)Tell("WATCHDOG=1");
}

void CServiceManager::Stopping() { (void)Tell("STOPPING=1"); }

bool CServiceManager::Tell(const std::string& message) const {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (m_strSocket.empty() || m_strSocket.size() >= sizeof address.sun_path) return false;
  (void)m_strSocket.copy(address.sun_path, m_strSocket.size());
  if (m_strSocket[0] == '@') address.sun_path[0] = '\0';  // an abstract name
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + m_strSocket.size());
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd == -1) return false;
  const auto sent = ::sendto(fd, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                             reinterpret_cast<const sockaddr*>(&address), length);
  ::close(fd);
  return sent != -1;
}

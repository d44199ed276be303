#pragma once

#include <string>

/// What tavok tells the service manager that has started it, by the protocol of sd_notify(3):
/// datagrams to the socket that NOTIFY_SOCKET names. Without such a socket nothing is sent. Never
/// waits for the manager and reports no failure. For the first thread, with SIGHUP blocked.
class CServiceManager {
 public:
  /// Takes NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID out of the environment. To be constructed
  /// before any other thread starts.
  CServiceManager();

  /// Whether there is a manager to tell. If not, Look need not be called.
  bool IsThere() const { return !m_strSocket.empty(); }

  /// How often Look is to be called, in microseconds: every five seconds, or twice in the time
  /// after which the manager's watchdog takes the process for hung, whichever is more often.
  unsigned LookIntervalUs() const { return m_nLookIntervalUs; }

  /// Says that tavok is up ("READY=1"), until that has been taken. Then, with a watchdog, that it
  /// works ("WATCHDOG=1"), as long as it receives and its file is open. Says whenever that changes
  /// what it does, or which of the two is missing ("STATUS=..."); the manager's watchdog does the
  /// rest.
  void Look(bool receives, bool hasFile);

  /// Says that tavok stops ("STOPPING=1").
  void Stopping();

 private:
  bool Tell(const std::string& message) const;

  const std::string m_strSocket;  // empty: there is nobody to tell
  bool m_bWatchdog = false;
  unsigned m_nLookIntervalUs;
  bool m_bReady = false;  // the manager has been told
  std::string m_strTold;  // the status that it was told last
};

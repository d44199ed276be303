#pragma once

#include <string>

/// The sockets that a service manager has opened and passes to this process: the descriptors from 3
/// on, as many as LISTEN_FDS says, if LISTEN_PID is this process. The protocol is that of
/// sd_listen_fds(3). The manager keeps such a socket open, so that what is queued in it waits for
/// the next process. For the first thread, before any other starts.
class CHeldSockets {
 public:
  /// Takes the variables out of the environment and makes the descriptors close-on-exec. To be
  /// constructed before anything opens a file.
  CHeldSockets();
  CHeldSockets(const CHeldSockets&) = delete;
  CHeldSockets& operator=(const CHeldSockets&) = delete;
  ~CHeldSockets();

  /// Returns the first datagram socket that is bound to what these two settings say, see CSettings;
  /// the caller then owns the descriptor. Returns -1 if there is none. Reports each other socket,
  /// with its descriptor and the reason, and closes it. To be called once.
  int Take(const std::string& port, const std::string& bindingAddress);

 private:
  int m_nEnd;  // one above the last descriptor that is owned here
};

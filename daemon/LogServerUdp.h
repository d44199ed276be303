#pragma once

#include <cstdint>
#include <string>

#include "QELRefCount.h"
#include "QELSocket.h"
#include "QELThread.h"

class CLogServerEngine;

/// The daemon's only input: a datagram socket and a thread that passes the text of each datagram to
/// the engine. A datagram is cut to 1024 bytes, and its text ends at the first NUL; nothing is
/// added. Constructor, Init, Start and Stop are for the first thread.
class CLogServerUdp : public qel::QELSocket {
 public:
  /// `port`: a UDP port or the path of a Unix-domain socket, as CSettings::PortNumber tells them
  /// apart. `bindingAddress`: dotted IPv4 address for UDP, empty for any. The engine is not owned
  /// and must outlive the receiver. Opens nothing.
  CLogServerUdp(const std::string& port, const std::string& bindingAddress,
                CLogServerEngine* engine);

  /// Calls Stop.
  ~CLogServerUdp() noexcept(false) override;

  /// Binds the socket; of a Unix-domain socket, first removes what is at its path. Returns false
  /// after logging what failed.
  bool Init();

  /// Starts the receive thread and logs that the server listens.
  void Start();

  /// Stops the receive thread, which takes up to about 2 seconds, 6 at most, and removes the file
  /// named by the port, even if that is a UDP port. May be called again.
  void Stop();

  /// The body of the receive thread. It ends when it is asked to stop, from within a wait by
  /// CCancelThreadExcep, and, for good, on any socket error, of which an empty datagram is one.
  unsigned MainWorkerThread();
  static unsigned MainWorkerThread(void* receiver);

 private:
  bool ReceiveText(char* buffer);

  CRefCount<qel::QELThread> m_thread;
  CLogServerEngine* const m_pEngine;
  const std::string m_strPort;
  const std::string m_strBindingAddress;
  std::uint32_t m_nRcvBufSize = 0;  // SO_RCVBUF, in bytes
};

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

  /// Before Init: uses this bound datagram socket instead of binding one. A service manager holds
  /// it too, so that it is received from and nothing else: its path and its buffer are the
  /// manager's, and what is queued in it waits for the next process. Init takes the descriptor
  /// over; -1 is none.
  void UseHeld(int descriptor) { m_nHeld = descriptor; }

  /// Binds the socket; of a Unix-domain socket, first removes what is at its path. With a held
  /// socket, makes that non-blocking. Returns false after logging what failed.
  bool Init();

  /// Starts the receive thread, waits until others can see it by its name, and logs that the server
  /// listens.
  void Start();

  /// Whether the receive thread lives. First thread.
  bool IsReceiving() const { return m_thread && m_thread->IsRunning(); }

  /// Stops the receive thread, which takes up to about 2 seconds, 6 at most; removes the file named
  /// by the port, even if that is a UDP port, unless the socket is held; then passes on what is
  /// queued in the socket, and closes it.
  ///
  /// A socket of its own is shut to senders first, so that every datagram they were told to be
  /// sent is passed on, however long the engine takes; one that cannot be shut is given a second. A
  /// held socket stays open to senders: as much is passed on as comes before the queue is empty or
  /// a second is over, and as the engine can store. If its path was there at Init and is not any
  /// more, the manager has given it up: it is then treated as an own one.
  ///
  /// Nothing is passed on if reception had ended before, or if the thread hangs; the socket is then
  /// only shut. May be called again.
  void Stop();

  /// The body of the receive thread. It ends when it is asked to stop, from within a wait by
  /// CCancelThreadExcep, and, for good, on any socket error, of which an empty datagram is one.
  unsigned MainWorkerThread();
  static unsigned MainWorkerThread(void* receiver);

 private:
  void TellWhetherStoring();
  bool ReceiveText(char* buffer);
  bool IsPathGone() const;
  bool ShutGate();
  bool ReceiveFromItselfOnly();
  void Drain(bool isShut);
  int TakeQueued(char* buffer);

  CRefCount<qel::QELThread> m_thread;
  QELManualEvent m_evNamed;  // set by the receive thread
  CLogServerEngine* const m_pEngine;
  const std::string m_strPort;
  const std::string m_strBindingAddress;
  std::uint32_t m_nRcvBufSize = 0;  // SO_RCVBUF, in bytes
  int m_nHeld = -1;                 // see UseHeld
  bool m_bHeldPath = false;         // it had a path at Init
  bool m_bLosing = false;           // for the receive thread
};

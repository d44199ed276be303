#pragma once

#include "QELRefCount.h"
#include "QELSync.h"
#include "QELThread.h"

/// The daemon's top-level object.
class CLogServer : public CRefCountNumber {
 public:
  /// Returns true. Deliberately starts no thread.
  bool Init() { return true; }

  /// Removes the pid file that the settings name; a failure is logged. Returns true.
  bool Stop();

  /// The body of a thread that rotates, outside the signal handler, whenever m_event is set.
  /// Nothing starts that thread or sets the event.
  bool WorkerThread();
  static bool WorkerThread(void* server);

 private:
  CRefCount<qel::QELThread> m_thread;
  QELEvent m_event;
};

#pragma once

#include <pthread.h>
#include <sys/time.h>

#include <ctime>

#include "QELObject.h"

/// Lockable objects. Time-outs are in milliseconds; 0 looks without waiting, QELInfinite waits for
/// ever. Results of the POSIX calls are ignored unless stated.
namespace qel {

inline constexpr unsigned QELInfinite = 0xFFFFFFFF;

}  // namespace qel

/// Anything that can be locked or waited for.
class QELSyncObject : public QELObject {
 public:
  QELSyncObject() = default;
  QELSyncObject(const QELSyncObject&) = delete;
  QELSyncObject& operator=(const QELSyncObject&) = delete;

  /// Wakes the threads that are blocked in this object, so that they run the work items queued to
  /// them. The base does nothing.
  virtual void WakeFromAPC();

  /// Calls Lock(QELInfinite).
  virtual bool Begin();

  /// Calls Unlock().
  virtual bool End();

  /// Returns true when the object is locked or signalled, false when the time-out passed.
  virtual bool Lock(unsigned timeoutMs) = 0;

  /// Gives the object back; returns true.
  virtual bool Unlock() = 0;

  /// Counted release, for semaphore-like objects. The base does nothing and returns true.
  virtual bool Unlock(long count, long* previous);

  virtual ~QELSyncObject();
};

namespace qel {

/// Holds a lock for a scope. `Lockable` is a QELSyncObject; a critical section's lock costs no
/// virtual call.
template <class Lockable>
class [[nodiscard]] QELAutoLock {
 public:
  explicit QELAutoLock(Lockable& object) : m_object(object) { m_object.Lock(QELInfinite); }
  QELAutoLock(const QELAutoLock&) = delete;
  QELAutoLock& operator=(const QELAutoLock&) = delete;
  ~QELAutoLock() { m_object.Unlock(); }

 private:
  Lockable& m_object;
};

/// A recursive mutex of this process: its owner may lock it again and unlocks as many times.
class QELCriticalSection : public QELSyncObject {
 public:
  QELCriticalSection();
  ~QELCriticalSection() override;

  /// Always waits, whatever the time-out, and returns true.
  bool Lock(unsigned /*timeoutMs*/) final {
    ::pthread_mutex_lock(&m_mutex);
    return true;
  }
  bool Unlock() final {
    ::pthread_mutex_unlock(&m_mutex);
    return true;
  }
  using QELSyncObject::Unlock;

  /// Locks if that needs no waiting; returns whether it did.
  bool TryLock();

  /// The mutex, for a condition variable to wait with.
  pthread_mutex_t* Native() noexcept { return &m_mutex; }

 private:
  pthread_mutex_t m_mutex;
};

/// One wait's time-out, and the moment at which it ends.
struct QELWaitObject {
  explicit QELWaitObject(unsigned timeoutMs) : m_nTimeoutMs(timeoutMs) {
    if (timeoutMs != 0 && timeoutMs != QELInfinite) SetDeadline();
  }

  /// Makes the deadline valid for every time-out.
  void CarryNanoseconds() {
    m_deadline.tv_sec += m_deadline.tv_nsec / 1'000'000'000;
    m_deadline.tv_nsec %= 1'000'000'000;
  }

  timespec m_deadline{};  // both times unset when the time-out is 0 or infinite
  timeval m_start{};
  unsigned m_nTimeoutMs;

 private:
  void SetDeadline();
};

}  // namespace qel

/// An event that is signalled or not. A waiting library thread runs the work items queued to it
/// (QELThread::QueueAPC) before it blocks and whenever it wakes, with the event's own lock held.
/// Every other operation on the event waits for such an item. An exception that an item throws ends
/// the wait; the event is then as if nobody had waited. Any thread may call every operation; no
/// thread may wait when the event is destroyed.
class QELEvent : public QELSyncObject {
 public:
  /// An auto-reset event lets one waiter through for each Set; a manual-reset event stays
  /// signalled. It starts unsignalled, and there is no reset.
  explicit QELEvent(bool manualReset = false);
  ~QELEvent() override;

  /// Signals: wakes one waiter, or all of a manual-reset event.
  void Set();

  /// Whether it is signalled now. Runs no work item and changes nothing.
  bool IsSignalled();

  /// Waits until signalled. Returns false when the time-out has passed, for 0 at once and without
  /// a system call. A time-out that is not a whole number of seconds may end at once: its
  /// nanoseconds are not carried into the seconds, and the C library rejects such a deadline.
  bool Lock(unsigned timeoutMs) override;

  /// Waits as Lock does, but never ends before the time-out has passed.
  bool LockFully(unsigned timeoutMs);

  /// Does nothing and returns true: an event has no owner.
  bool Unlock() override;
  using QELSyncObject::Unlock;

  /// Wakes all waiters without signalling. Does nothing while somebody else holds the event's
  /// lock: the caller repeats it.
  void WakeFromAPC() override;

 protected:
  /// One blocking step, with the event's lock held by Lock. Returns true when woken, for whatever
  /// reason, false when the time is over.
  bool Wait(qel::QELWaitObject& wait);

 private:
  class CHeld;
  class COuterLevels;

  bool Await(qel::QELWaitObject& wait);

  bool TakeSignal() {
    if (!m_bSignalled) return false;
    if (!m_bManualReset) m_bSignalled = false;
    return true;
  }

  qel::QELCriticalSection m_cs;
  pthread_cond_t m_cond;
  bool m_bSignalled = false;
  const bool m_bManualReset;
  unsigned m_nHeld = 0;  // how often the owner of m_cs holds it through Lock
};

/// A manual-reset event.
class QELManualEvent : public QELEvent {
 public:
  QELManualEvent() : QELEvent(true) {}
  ~QELManualEvent() override;
};

#include "QELSync.h"

#include <sys/time.h>

#include "QELThread.h"

void QELSyncObject::WakeFromAPC() {}

bool QELSyncObject::Begin() { return Lock(qel::QELInfinite); }

bool QELSyncObject::End() { return Unlock(); }

bool QELSyncObject::Unlock(long /*count*/, long* /*previous*/) { return true; }

QELSyncObject::~QELSyncObject() = default;

namespace qel {

QELCriticalSection::QELCriticalSection() {
  pthread_mutexattr_t attributes;
  ::pthread_mutexattr_init(&attributes);
  ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_PRIVATE);
  ::pthread_mutex_init(&m_mutex, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
}

QELCriticalSection::~QELCriticalSection() { ::pthread_mutex_destroy(&m_mutex); }

bool QELCriticalSection::TryLock() { return ::pthread_mutex_trylock(&m_mutex) == 0; }

void QELWaitObject::SetDeadline() {
  ::gettimeofday(&m_start, nullptr);
  m_deadline.tv_sec = m_start.tv_sec + m_nTimeoutMs / 1000;
  // Deliberately not carried into the seconds.
  m_deadline.tv_nsec = m_nTimeoutMs % 1000 * 1'000'000L + m_start.tv_usec * 1000L;
}

}  // namespace qel

// Holds the event's lock for one Lock call, and counts it.
class QELEvent::CHeld {
 public:
  explicit CHeld(QELEvent& event) : m_event(event), m_lock(event.m_cs) { ++m_event.m_nHeld; }
  CHeld(const CHeld&) = delete;
  CHeld& operator=(const CHeld&) = delete;
  ~CHeld() {
    --m_event.m_nHeld;
    // A work item's exception may end the wait of the one waiter that a signal has woken: another
    // waiter is woken in its place.
    if (m_event.m_bSignalled && !m_event.m_bManualReset) ::pthread_cond_signal(&m_event.m_cond);
  }

 private:
  QELEvent& m_event;
  const qel::QELAutoLock<qel::QELCriticalSection> m_lock;
};

// A work item may wait on the very event whose wait runs it. A condition wait gives up one level
// of a recursive mutex only, so nobody could ever signal the event: the outer levels are given up
// here, and taken back after the wait.
class QELEvent::COuterLevels {
 public:
  explicit COuterLevels(QELEvent& event) : m_event(event), m_nHeld(event.m_nHeld) {
    m_event.m_nHeld = 0;
    for (unsigned i = 1; i < m_nHeld; ++i) m_event.m_cs.Unlock();
  }
  COuterLevels(const COuterLevels&) = delete;
  COuterLevels& operator=(const COuterLevels&) = delete;
  ~COuterLevels() {
    for (unsigned i = 1; i < m_nHeld; ++i) m_event.m_cs.Begin();
    m_event.m_nHeld = m_nHeld;
  }

 private:
  QELEvent& m_event;
  const unsigned m_nHeld;
};

QELEvent::QELEvent(bool manualReset) : m_bManualReset(manualReset) {
  ::pthread_cond_init(&m_cond, nullptr);
}

QELEvent::~QELEvent() { ::pthread_cond_destroy(&m_cond); }

void QELEvent::Set() {
  const qel::QELAutoLock lock(m_cs);
  m_bSignalled = true;
  if (m_bManualReset) {
    ::pthread_cond_broadcast(&m_cond);
  } else {
    ::pthread_cond_signal(&m_cond);
  }
}

bool QELEvent::IsSignalled() {
  const qel::QELAutoLock lock(m_cs);
  return m_bSignalled;
}

// Inline, since the receive thread looks at its stop event before each datagram.
inline bool QELEvent::Await(qel::QELWaitObject& wait) {
  qel::QELThread* const thread = qel::QELThread::Current();
  // A look never blocks: there is nothing to wake it out of.
  const qel::QELThread::CWaitingIn record(wait.m_nTimeoutMs == 0 ? nullptr : thread, *this);
  const CHeld held(*this);
  for (;;) {
    if (TakeSignal()) return true;
    if (thread != nullptr) thread->RunPendingAPCs();
    const bool woken = Wait(wait);
    if (thread != nullptr) thread->RunPendingAPCs();
    if (!woken) return false;
  }
}

bool QELEvent::Lock(unsigned timeoutMs) {
  qel::QELWaitObject wait(timeoutMs);
  return Await(wait);
}

bool QELEvent::LockFully(unsigned timeoutMs) {
  qel::QELWaitObject wait(timeoutMs);
  wait.CarryNanoseconds();
  return Await(wait);
}

bool QELEvent::Unlock() { return true; }

void QELEvent::WakeFromAPC() {
  // The caller holds a thread's lock, which a thread that holds this event's lock may be about to
  // take: waiting for it could wait for ever.
  if (!m_cs.TryLock()) return;
  ::pthread_cond_broadcast(&m_cond);
  m_cs.Unlock();
}

bool QELEvent::Wait(qel::QELWaitObject& wait) {
  // Expired by construction, and a timed wait for a moment just gone costs a timer's slack.
  if (wait.m_nTimeoutMs == 0) return false;
  // Signalled since the look: by a work item, or while one waited on this very event.
  if (m_bSignalled) return true;
  const COuterLevels outer(*this);
  if (wait.m_nTimeoutMs == qel::QELInfinite) {
    return ::pthread_cond_wait(&m_cond, m_cs.Native()) == 0;
  }
  return ::pthread_cond_timedwait(&m_cond, m_cs.Native(), &wait.m_deadline) == 0;
}

QELManualEvent::~QELManualEvent() = default;

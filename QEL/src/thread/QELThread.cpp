#include "QELThread.h"

#include <cstddef>
#include <utility>

#include "QELTrace.h"
#include "base/QELElapsed.h"

namespace qel {

pthread_key_t g_QELThreadParent;

namespace {

const struct ThreadKey {
  ThreadKey() { ::pthread_key_create(&g_QELThreadParent, nullptr); }
  ~ThreadKey() { ::pthread_key_delete(g_QELThreadParent); }
} s_threadKey;

constexpr unsigned kPokeIntervalMs = 10;
constexpr unsigned kPokeLimitMs = 1000;
constexpr unsigned kKillLimitMs = 100;

}  // namespace

void CThreadAPC::DestroyUnreferenced(CThreadAPC* item) {
  item->CThreadAPC::~CThreadAPC();
  ::operator delete(static_cast<void*>(item));  // unsized: the derived size is not known here
}

std::size_t CThreadAPC::NodeOffset() {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"  // no virtual base: both compilers support it
  return offsetof(CThreadAPC, m_node);
#pragma GCC diagnostic pop
}

void CCancelThread::run() {
  QELThread* const thread = QELThread::Current();
  if (thread == nullptr || thread->m_bNoCancel || thread->m_nCancelDisableDepth != 0) return;
  if (thread->ConfirmKilled()) return;
  QelTrace("CCancelThread::run () - throwing CCancelThreadExcep");
  throw CCancelThreadExcep();
}

QELThread::QELThread() : m_queue(CThreadAPC::NodeOffset()) {}

QELThread::~QELThread() = default;

bool QELThread::IsRunning() { return m_nThreadId != 0 && !m_evFinished.IsSignalled(); }

void QELThread::Stop(unsigned timeoutMs) {
  m_evStop.Set();
  if (Current() == this) throw CCancelThreadExcep();
  if (!IsRunning()) return;
  QueueAPC(new CCancelThread);
  if (!m_evFinished.LockFully(timeoutMs)) Kill();
}

void QELThread::QueueAPC(CThreadAPC* item) {
  const unsigned passes = m_queue.Append(item);
  const QELElapsed elapsed;
  while (m_queue.Passes() == passes && elapsed.Milliseconds() <= kPokeLimitMs) {
    Poke();
    if (m_evFinished.LockFully(kPokeIntervalMs)) return;
  }
}

void QELThread::RunOldestAPC() {
  if (const CRefCount<CThreadAPC> item = m_queue.TakeHead()) item->run();
}

void QELThread::RunCurrentAPCs() {
  if (QELThread* const thread = Current()) thread->RunPendingAPCs();
}

bool QELThread::ConfirmKilled() { return m_bKilled && m_evKilled.LockFully(kKillLimitMs); }

void QELThread::Attach(unsigned long handle) { m_hThread = handle; }

void QELThread::Poke() {
  const QELAutoLock lock(m_cs);
  if (m_pWaitingIn != nullptr) m_pWaitingIn->WakeFromAPC();
}

void QELThread::Kill() {
  m_bKilled = true;
  if (!IsRunning()) return;
  QelTrace("Killing Thread: %d\n", static_cast<int>(GetId()));
  {
    const QELAutoLock lock(m_cs);
    if (!m_bGone) ::pthread_cancel(m_hThread);
  }
  m_evKilled.Set();
}

QELSyncObject* QELThread::CWaitingIn::Exchange(QELSyncObject* object) {
  const QELAutoLock lock(m_pThread->m_cs);
  return std::exchange(m_pThread->m_pWaitingIn, object);
}

}  // namespace qel

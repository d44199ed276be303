#include <pthread.h>

#include <cstdint>
#include <exception>
#include <memory>

#include "QELThread.h"
#include "QELTrace.h"

namespace qel {
namespace {

constexpr std::size_t kStackSize = 1'000'000;

enum Kind { kTakesHandle = 0, kTakesArgument = 1, kTakesNothing = 2 };

using HandleFunction = unsigned (*)(CRefCount<QELThread>);
using ArgumentFunction = unsigned (*)(void*);
using PlainFunction = unsigned (*)();

// Handed by the creator to the new thread, which frees it.
struct StartBlock {
  int kind;
  CRefCount<QELThread> thread;
  void* function;
};

unsigned CallFunction(const StartBlock& block, void* argument) {
  switch (block.kind) {
    case kTakesHandle:
      return reinterpret_cast<HandleFunction>(block.function)(block.thread);
    case kTakesArgument:
      return reinterpret_cast<ArgumentFunction>(block.function)(argument);
    default:
      return reinterpret_cast<PlainFunction>(block.function)();
  }
}

int TraceableTid() { return static_cast<int>(::pthread_self()); }

constexpr unsigned long kCancelled = ~0ul;

}  // namespace

// The code that a library thread runs around the function it was started for.
class CThreadBody {
 public:
  explicit CThreadBody(const StartBlock& block) : m_block(block), m_thread(*block.thread) {}

  // Blocks until the creator has stored the thread's id.
  void AwaitGate() { m_thread.m_evStartGate.Lock(QELInfinite); }

  unsigned long Run() {
    try {
      const unsigned result = RunFunction();
      Finish();
      return result;
    } catch (const CCancelThreadExcep&) {
      EndCancelled();
      return kCancelled;
    } catch (...) {
      const bool forced = !std::current_exception();  // cancellation unwinds without an exception
      EndUnhandled(forced);
      if (forced) throw;  // the C library ends the process when forced unwinding does not go on
      return 0;
    }
  }

  static void Create(const CRefCount<QELThread>& thread, void* function, int kind, void* argument);

 private:
  unsigned RunFunction() {
    ::pthread_setspecific(g_QELThreadParent, &m_thread);
    m_thread.m_evStarted.Set();
    QelTrace("QELThreadProc Start: Tid: %d\n", TraceableTid());
    const unsigned result = CallFunction(m_block, m_thread.m_pArgument);
    QelTrace("QELThreadProc Finish: Tid: %d\n", TraceableTid());
    return result;
  }

  void Finish() {
    Leave();
    m_thread.m_evFinished.Set();
  }

  void EndCancelled() {
    Leave();
    if (IsStopRequested()) {
      m_thread.m_evFinished.Set();
    } else {
      QelTrace("CAutoDisableCancel::CEmulateCancelException exception in QELThreadProc\n");
    }
  }

  void EndUnhandled(bool forced) {
    Leave();
    const bool stopping = IsStopRequested();
    if (stopping) m_thread.m_evFinished.Set();  // before the trace, since Stop waits for it
    if (!stopping || !forced) QelTrace("Unhandled Exception in QELThreadProc\n");
    m_thread.m_evFinished.Set();
  }

  // From here on no work item runs on this thread, whatever is queued, and none cancels it.
  void Leave() {
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    ::pthread_setspecific(g_QELThreadParent, nullptr);
    const QELAutoLock lock(m_thread.m_cs);
    m_thread.m_bGone = true;
  }

  bool IsStopRequested() { return m_thread.m_evStop.IsSignalled(); }

  const StartBlock& m_block;
  QELThread& m_thread;
};

namespace {

void* QELThreadProc(void* argument) {
  const std::unique_ptr<StartBlock> block(static_cast<StartBlock*>(argument));
  ::pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
  // The last resort of Stop. NOLINTNEXTLINE(concurrency-thread-canceltype-asynchronous)
  ::pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
  CThreadBody body(*block);
  body.AwaitGate();
  // The exit value is a number. NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<void*>(body.Run());
}

pthread_t CreateDetached(StartBlock* block) {
  pthread_t id = 0;
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  ::pthread_attr_setstacksize(&attributes, kStackSize);
  (void)::pthread_create(&id, &attributes, QELThreadProc, block);
  ::pthread_attr_destroy(&attributes);
  return id;
}

}  // namespace

void CThreadBody::Create(const CRefCount<QELThread>& thread, void* function, int kind,
                         void* argument) {
  thread->m_pArgument = argument;
  const pthread_t id = CreateDetached(new StartBlock{kind, thread, function});
  thread->m_nThreadId = id;
  thread->Attach(id);
  thread->m_evStartGate.Set();
  thread->m_evStarted.Lock(QELInfinite);
}

void _QELBeginThread(CRefCount<QELThread>& handle, void* function, int kind, void* argument) {
  handle.Attach(new QELThread);
  // The caller's handle may be replaced as soon as the thread runs.
  const CRefCount<QELThread> thread = handle;
  CThreadBody::Create(thread, function, kind, argument);
}

void QELBeginThread(CRefCount<QELThread>& handle, unsigned (*function)()) {
  _QELBeginThread(handle, reinterpret_cast<void*>(function), kTakesNothing, nullptr);
}

void QELBeginThread(unsigned (*function)()) {
  CRefCount<QELThread> handle;
  QELBeginThread(handle, function);
}

void QELBeginThread(CRefCount<QELThread>& handle, unsigned (*function)(CRefCount<QELThread>),
                    void* argument) {
  _QELBeginThread(handle, reinterpret_cast<void*>(function), kTakesHandle, argument);
}

void QELBeginThread(unsigned (*function)(CRefCount<QELThread>), void* argument) {
  CRefCount<QELThread> handle;
  QELBeginThread(handle, function, argument);
}

void QELBeginThread(CRefCount<QELThread>& handle, unsigned (*function)(void*), void* argument) {
  _QELBeginThread(handle, reinterpret_cast<void*>(function), kTakesArgument, argument);
}

void QELBeginThread(unsigned (*function)(void*), void* argument) {
  CRefCount<QELThread> handle;
  QELBeginThread(handle, function, argument);
}

}  // namespace qel

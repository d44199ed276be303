#pragma once

#include <pthread.h>

#include <atomic>

#include "QELExcep.h"
#include "QELMTLinkedList.h"
#include "QELObject.h"
#include "QELRefCount.h"
#include "QELSync.h"
#include "QELThreadAPC.h"

namespace qel {

class QELThread;

/// The key under which a library thread finds its object; null elsewhere. It is made during
/// static initialisation.
extern pthread_key_t g_QELThreadParent;

/// Start a thread that runs `function`, and return when it has begun. The overloads with a handle
/// fill it with the new thread's object (before the thread runs); without one, the running thread
/// alone owns its object. A function that takes a handle gets one to its own thread object.
///
/// The POSIX thread is detached, has a stack of 1,000,000 bytes and may be cancelled at any
/// instruction. If the system makes no thread, the call waits for ever. On a library thread the
/// call is a library wait: it runs the work items queued to the caller and throws what they throw,
/// while the new thread runs on.
void QELBeginThread(CRefCount<QELThread>& handle, unsigned (*function)());
void QELBeginThread(unsigned (*function)());
void QELBeginThread(CRefCount<QELThread>& handle, unsigned (*function)(CRefCount<QELThread>),
                    void* argument);
void QELBeginThread(unsigned (*function)(CRefCount<QELThread>), void* argument);
void QELBeginThread(CRefCount<QELThread>& handle, unsigned (*function)(void*), void* argument);
void QELBeginThread(unsigned (*function)(void*), void* argument);

/// All of them call this one. `kind`: 0 for a function that takes a handle, 1 for one that takes
/// the argument, 2 for one that takes nothing.
void _QELBeginThread(CRefCount<QELThread>& handle, void* function, int kind, void* argument);

/// A thread: the events of its life and the work items queued to it. Unless said otherwise, any
/// thread that holds a handle may call an operation. Stop, QueueAPC and ConfirmKilled are library
/// waits on a library thread: they run the work items queued to the caller and throw what these
/// throw. Stop has then not cancelled the thread; QueueAPC has queued the item.
class QELThread : public QELObject, public CRefCountNumber {
 public:
  QELThread();

  /// Releases the work items left, without running them. Neither stops the thread nor waits for it:
  /// a running thread holds a handle to its own object.
  virtual ~QELThread();

  /// The object of the calling thread; null on a thread that the library did not start.
  static QELThread* Current() {
    return static_cast<QELThread*>(::pthread_getspecific(g_QELThreadParent));
  }

  /// True from the start of the thread until its function has ended.
  bool IsRunning();

  /// Stops the thread. First it is asked: its stop event is set, and a CCancelThread, posted with
  /// QueueAPC (up to 1 s), makes its next library wait throw CCancelThreadExcep. A thread that has
  /// not ended `timeoutMs` later is marked as killed and cancelled by force, and Stop returns
  /// without waiting for its end.
  ///
  /// Called on the calling thread itself, sets the stop event and throws CCancelThreadExcep.
  ///
  /// A forced cancel unwinds cleanly only out of a blocking system call; a thread that may meet
  /// one must not spin or block elsewhere.
  void Stop(unsigned timeoutMs = 5000);

  /// Posts a work item that was just allocated (count 0); the queue owns it until it has run. Then
  /// pokes the thread every 10 ms until it has noticed, has ended, or 1000 ms are over. The item
  /// runs in the thread's present library wait if that is an event's, else in its next.
  void QueueAPC(CThreadAPC* item);

  /// Runs the work items queued to this thread. For the thread itself only; its library waits do
  /// this. Passes on what an item throws.
  void RunPendingAPCs() {
    while (!m_queue.IsEmpty()) RunOldestAPC();
  }

  /// Runs the work items of the calling thread, if the library started it.
  static void RunCurrentAPCs();

  /// True when the thread has been marked as killed and has been cancelled by force, or was found
  /// to have ended; waits up to 100 ms for that.
  bool ConfirmKilled();

  /// The event that asks the thread to end; manual-reset, lives as long as this object.
  QELEvent& StopEvent() { return m_evStop; }

  /// The id that pthread_create returned; 0 before.
  unsigned long GetId() const { return m_nThreadId; }

  /// The argument that QELBeginThread got for the function, null if none. Not owned.
  void* GetArgument() const { return m_pArgument; }

  /// Stores the handle by which the thread is cancelled.
  void Attach(unsigned long handle);

  /// While either is set, a CCancelThread does not throw in this thread.
  std::atomic<int> m_nCancelDisableDepth{0};
  std::atomic<bool> m_bNoCancel{false};

  class CWaitingIn;

 private:
  friend class CThreadBody;

  void RunOldestAPC();
  void Poke();
  void Kill();

  QELMTLinkedList<CThreadAPC> m_queue;
  std::atomic<unsigned long> m_hThread{0};
  QELManualEvent m_evStartGate;  // opened when the creator has stored the id
  QELSyncObject* m_pWaitingIn = nullptr;
  QELCriticalSection m_cs;  // guards m_pWaitingIn and m_bGone
  std::atomic<unsigned long> m_nThreadId{0};
  QELManualEvent m_evStop;
  QELManualEvent m_evStarted;
  QELManualEvent m_evFinished;
  void* m_pArgument = nullptr;
  std::atomic<bool> m_bKilled{false};
  QELManualEvent m_evKilled;
  bool m_bGone = false;  // the body has been left: the handle may name no thread any more
};

/// Records, for a scope, what a thread is blocked in, so that QueueAPC can wake it. A wait inside a
/// work item puts the outer record back when it ends. With a null thread, does nothing.
class [[nodiscard]] QELThread::CWaitingIn {
 public:
  CWaitingIn(QELThread* thread, QELSyncObject& object) : m_pThread(thread) {
    if (m_pThread != nullptr) m_pOuter = Exchange(&object);
  }
  CWaitingIn(const CWaitingIn&) = delete;
  CWaitingIn& operator=(const CWaitingIn&) = delete;
  ~CWaitingIn() {
    if (m_pThread != nullptr) Exchange(m_pOuter);
  }

 private:
  QELSyncObject* Exchange(QELSyncObject* object);

  QELThread* const m_pThread;
  QELSyncObject* m_pOuter = nullptr;
};

}  // namespace qel

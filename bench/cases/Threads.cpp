#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "Piece.h"
#include "QELSync.h"
#include "QELThread.h"

namespace {

// An auto-reset event, as plainly as can be; 0 looks at it only.
class Signal {
 public:
  void Set() {
    const std::lock_guard lock(m_mutex);
    m_set = true;
    m_changed.notify_one();
  }
  bool Lock(unsigned timeoutMs) {
    std::unique_lock lock(m_mutex);
    if (timeoutMs == 0) return m_set;
    m_changed.wait(lock, [this] { return m_set; });
    m_set = false;
    return true;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_set = false;
};

// A library thread that answers; one call is two hand-overs: to it and back.
template <class Event>
class EventHandOver {
 public:
  EventHandOver() { qel::QELBeginThread(m_thread, &Answer, this); }
  EventHandOver(const EventHandOver&) = delete;
  EventHandOver& operator=(const EventHandOver&) = delete;
  ~EventHandOver() {
    m_end = true;
    m_there.Set();
    while (m_thread->IsRunning()) std::this_thread::yield();
  }

  bool operator()() {
    m_there.Set();
    return m_back.Lock(qel::QELInfinite);
  }

 private:
  static unsigned Answer(void* object) {
    auto& self = *static_cast<EventHandOver*>(object);
    while (self.m_there.Lock(qel::QELInfinite) && !self.m_end) self.m_back.Set();
    return 0;
  }

  Event m_there;
  Event m_back;
  std::atomic<bool> m_end{false};
  CRefCount<qel::QELThread> m_thread;
};

}  // namespace

void AddThreadPieces() {
  static QELManualEvent event;
  static Signal signal;
  Piece("EventPoll", [] { return [] { return event.Lock(0); }; });
  Piece("EventPoll_Mutex", [] { return [] { return signal.Lock(0); }; });
  Piece("EventHandOver", [] { return EventHandOver<QELEvent>(); })->UseRealTime();
  Piece("EventHandOver_ConditionVariable", [] { return EventHandOver<Signal>(); })->UseRealTime();
}

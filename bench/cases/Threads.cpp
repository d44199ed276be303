#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "Piece.h"
#include "QELSync.h"
#include "QELThread.h"

namespace {

using Clock = std::chrono::steady_clock;

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

template <class Event>
struct EventPoll {
  bool operator()() { return event.Lock(0); }

  Event event;
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

std::atomic<Clock::rep> s_ranAt{0};

void NoteRun() { s_ranAt = Clock::now().time_since_epoch().count(); }

class NotingItem final : public qel::CThreadAPC {
  void run() override { NoteRun(); }
};

// Posts to a thread that has had the time to fall asleep, waits until it has run, and tells how
// long that took.
template <class Post>
void TimePostToRun(benchmark::State& state, Post post) {
  for (auto _ : state) {
    s_ranAt = 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const auto posted = Clock::now();
    post();
    while (s_ranAt == 0) std::this_thread::yield();
    const Clock::time_point ran{Clock::duration(s_ranAt)};
    state.SetIterationTime(std::chrono::duration<double>(ran - posted).count());
  }
}

// The time until the item runs. QueueAPC itself returns up to 10 ms later, with its next look.
void WorkItemPostToRun(benchmark::State& state) {
  QELEvent end;
  CRefCount<qel::QELThread> thread;
  const auto wait = [](void* event) -> unsigned {
    return static_cast<QELEvent*>(event)->Lock(qel::QELInfinite);
  };
  qel::QELBeginThread(thread, wait, &end);
  TimePostToRun(state, [&] { thread->QueueAPC(new NotingItem); });
  end.Set();
  while (thread->IsRunning()) std::this_thread::yield();
}

// An auto-reset event for each post is enough here: one function is queued at a time.
void WorkItemPostToRun_FunctionQueue(benchmark::State& state) {
  std::mutex mutex;
  std::deque<std::function<void()>> queue;
  Signal posted;
  const auto post = [&](const std::function<void()>& function) {
    const std::lock_guard lock(mutex);
    queue.push_back(function);
    posted.Set();
  };
  const auto taken = [&] {
    posted.Lock(qel::QELInfinite);
    const std::lock_guard lock(mutex);
    const auto function = std::move(queue.front());
    queue.pop_front();
    return function;
  };
  const std::jthread thread([&] {
    while (const auto function = taken()) function();
  });
  TimePostToRun(state, [&] { post(NoteRun); });
  post({});  // ends the thread
}

BENCHMARK(WorkItemPostToRun)->UseManualTime()->Iterations(200);
BENCHMARK(WorkItemPostToRun_FunctionQueue)->UseManualTime()->Iterations(200);

}  // namespace

void AddThreadPieces() {
  Piece("EventPoll", [] { return EventPoll<QELManualEvent>(); });
  Piece("EventPoll_Mutex", [] { return EventPoll<Signal>(); });
  Piece("EventHandOver", [] { return EventHandOver<QELEvent>(); })->UseRealTime();
  Piece("EventHandOver_ConditionVariable", [] { return EventHandOver<Signal>(); })->UseRealTime();
}

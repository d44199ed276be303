#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "QELSync.h"
#include "QELThread.h"

namespace {

using Clock = std::chrono::steady_clock;

// An auto-reset event, as plainly as can be.
class Signal {
 public:
  void Set() {
    const std::lock_guard lock(m_mutex);
    m_set = true;
    m_changed.notify_one();
  }
  void Wait() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_set; });
    m_set = false;
  }
  bool Poll() {
    const std::lock_guard lock(m_mutex);
    return m_set;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_set = false;
};

void EventPoll(benchmark::State& state) {
  QELManualEvent event;
  for (auto _ : state) benchmark::DoNotOptimize(event.Lock(0));
}
BENCHMARK(EventPoll);

void EventPoll_Mutex(benchmark::State& state) {
  Signal signal;
  for (auto _ : state) benchmark::DoNotOptimize(signal.Poll());
}
BENCHMARK(EventPoll_Mutex);

struct EventEcho {
  static unsigned Run(void* echo) {
    auto& self = *static_cast<EventEcho*>(echo);
    while (self.there.Lock(qel::QELInfinite) && !self.end) self.back.Set();
    return 0;
  }

  QELEvent there;
  QELEvent back;
  std::atomic<bool> end{false};
};

// One iteration is two hand-overs: to another thread and back.
void EventHandOver(benchmark::State& state) {
  EventEcho echo;
  CRefCount<qel::QELThread> thread;
  qel::QELBeginThread(thread, &EventEcho::Run, &echo);
  for (auto _ : state) {
    echo.there.Set();
    echo.back.Lock(qel::QELInfinite);
  }
  echo.end = true;
  echo.there.Set();
  while (thread->IsRunning()) std::this_thread::yield();
}
BENCHMARK(EventHandOver)->UseRealTime();

void EventHandOver_ConditionVariable(benchmark::State& state) {
  Signal there;
  Signal back;
  std::atomic<bool> end{false};
  std::jthread thread([&] {
    for (there.Wait(); !end; there.Wait()) back.Set();
  });
  for (auto _ : state) {
    there.Set();
    back.Wait();
  }
  end = true;
  there.Set();
}
BENCHMARK(EventHandOver_ConditionVariable)->UseRealTime();

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

constexpr int kPosts = 200;

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
BENCHMARK(WorkItemPostToRun)->UseManualTime()->Iterations(kPosts);

void WorkItemPostToRun_FunctionQueue(benchmark::State& state) {
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::function<void()>> queue;
  std::jthread thread([&](const std::stop_token& stop) {
    for (std::unique_lock lock(mutex); !stop.stop_requested();) {
      changed.wait(lock, [&] { return !queue.empty() || stop.stop_requested(); });
      while (!queue.empty()) {
        const auto function = std::move(queue.front());
        queue.pop_front();
        lock.unlock();
        function();
        lock.lock();
      }
    }
  });
  TimePostToRun(state, [&] {
    const std::lock_guard lock(mutex);
    queue.emplace_back(&NoteRun);
    changed.notify_one();
  });
  thread.request_stop();
  const std::lock_guard lock(mutex);
  changed.notify_one();
}
BENCHMARK(WorkItemPostToRun_FunctionQueue)->UseManualTime()->Iterations(kPosts);

}  // namespace

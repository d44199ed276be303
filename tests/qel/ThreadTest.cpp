#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <thread>

#include "Collector.h"
#include "Process.h"
#include "QELThread.h"
#include "Waiting.h"

using namespace qel;

namespace {

std::atomic<int> s_calls;
CLockedRefCount<QELThread> s_last;

unsigned Plain() {
  s_last.Set(QELThread::Current());
  ++s_calls;
  return 0;
}
unsigned WithArgument(void* argument) { return argument == &s_calls ? Plain() : 1; }
// The library's signature. NOLINTNEXTLINE(performance-unnecessary-value-param)
unsigned WithHandle(CRefCount<QELThread> self) { return WithArgument(self->GetArgument()); }

// The ways in which a thread's function can end.
unsigned Return(void*) { return 1; }
unsigned Throw(void*) { throw 1; }
unsigned Cancel(void*) { throw CCancelThreadExcep(); }
unsigned Wait(void*) { return QELEvent().Lock(QELInfinite); }
unsigned StopItself(void*) {
  QELThread::Current()->Stop();
  return 0;
}
unsigned Spin(void*) {
  while (!QELThread::Current()->StopEvent().IsSignalled()) std::this_thread::yield();
  return 0;
}
unsigned SpinAndThrow(void*) {
  Spin(nullptr);
  throw 1;
}
unsigned Block(void*) {
  for (;;) ::syscall(SYS_ppoll, nullptr, 0, nullptr, nullptr, 0);
}

bool Ends(const CRefCount<QELThread>& thread) {
  return Eventually([&] { return !thread->IsRunning(); });
}

struct CountingItem final : CThreadAPC {
  ~CountingItem() { ADD_FAILURE() << "destroyed as more than its base"; }
  void run() override { ++s_calls; }
  char m_padding[100];
};

// Stands in for the wait of a thread: each poke calls the function, on the poster. The poster holds
// the thread's lock, so one at a time does it.
class PokedWait final : public QELSyncObject {
 public:
  PokedWait(QELThread& thread, const std::function<void()>& poked)
      : m_poked(poked), m_record(&thread, *this) {}
  void WakeFromAPC() override { m_poked(); }
  bool Lock(unsigned) override { return false; }
  bool Unlock() override { return false; }

 private:
  const std::function<void()> m_poked;
  const QELThread::CWaitingIn m_record;
};

// Reaches private members, which an explicit instantiation may name.
template <auto kQueue, auto kSpin, auto kWord>
struct Reveal {
  friend std::atomic<std::uint32_t>& SpinWordOf(QELThread& thread) {
    return thread.*kQueue.*kSpin.*kWord;
  }
};
template struct Reveal<&QELThread::m_queue, &QELMTLinkedList<CThreadAPC>::m_spin,
                       &QELSpinWord::m_nWord>;
std::atomic<std::uint32_t>& SpinWordOf(QELThread& thread);

// A stop of a thread that has gone cancels nobody, not even a later thread with the same id.
void ExpectGone(QELThread& thread, Collector& trace) {
  CRefCount<QELThread> next;
  EXPECT_TRUE(Eventually([&] {
    if (next) next->Stop();
    QELBeginThread(next, Wait, nullptr);
    return next->GetId() == thread.GetId();
  }));
  const std::string stopped = "CCancelThread::run () - throwing";
  const long before = trace.Count(stopped);
  thread.Stop(0);
  next->Stop();
  EXPECT_TRUE(Eventually([&] { return trace.Count(stopped) > before; }));
}

}  // namespace

TEST(Thread, SixWaysToBegin) {
  EXPECT_EQ(nullptr, QELThread::Current());
  EXPECT_FALSE(QELThread().IsRunning());
  CRefCount<QELThread> handle;
  const std::function<void()> begins[] = {[&] { QELBeginThread(handle, Plain); },
                                          [&] { QELBeginThread(Plain); },
                                          [&] { QELBeginThread(handle, WithArgument, &s_calls); },
                                          [&] { QELBeginThread(WithArgument, &s_calls); },
                                          [&] { QELBeginThread(handle, WithHandle, &s_calls); },
                                          [&] { QELBeginThread(WithHandle, &s_calls); }};
  for (int calls = 0; calls < 6;) {
    begins[calls++]();
    EXPECT_TRUE(Eventually([calls] { return s_calls == calls; }));
    EXPECT_TRUE(Ends(s_last.Get()));
  }
}

TEST(Thread, TracedEnds) {
  struct End {
    unsigned (*function)(void*);
    bool stop, finished;
    const char* trace;
  };
  const End ends[] = {
      {Return, false, true, "QELThreadProc Finish: Tid: "},
      {Throw, false, true, "Unhandled Exception in QELThreadProc\n"},
      {Cancel, false, false,
       "CAutoDisableCancel::CEmulateCancelException exception in QELThreadProc\n"},
      {StopItself, false, true, "QELThreadProc Start: Tid: "},
      {Wait, true, true, "CCancelThread::run () - throwing CCancelThreadExcep\n"},
      {SpinAndThrow, true, true, "Unhandled Exception in QELThreadProc\n"},
      {Block, true, true, "Killing Thread: "},
  };
  for (const End& end : ends) {
    Collector trace("/tmp/ZABKTraceCon");
    CRefCount<QELThread> thread;
    QELBeginThread(thread, end.function, nullptr);
    if (end.stop) thread->Stop(end.function == Block ? 500 : 10'000);
    EXPECT_TRUE(trace.Sees(end.trace)) << end.trace;
    EXPECT_TRUE(end.finished ? Ends(thread) : thread->IsRunning()) << end.trace;
    const auto finish = "QELThreadProc Finish: Tid: " + std::to_string(int(thread->GetId()));
    EXPECT_EQ(end.function == Return, trace.Count(finish) == 1) << end.trace;
    if (!end.finished) ExpectGone(*thread, trace);
    EXPECT_EQ(end.function == Block || !end.finished, thread->ConfirmKilled()) << end.trace;
  }
}

TEST(Thread, ManyPostersLoseNoItem) {
  s_calls = 0;
  CRefCount<QELThread> waiting;
  QELBeginThread(waiting, Wait, nullptr);
  std::jthread posters[4];
  for (auto& poster : posters) {
    poster = std::jthread([&] {
      for (int i = 0; i < 50; ++i) waiting->QueueAPC(new CountingItem);
    });
  }
  EXPECT_TRUE(Eventually([] { return s_calls == 200; }));
  waiting->Stop();
}

TEST(Thread, AnItemThatIsLeftIsReleasedUnrun) {
  s_calls = 0;
  CRefCount<QELThread> spinning;
  QELBeginThread(spinning, Spin, nullptr);
  const CRefCount<CountingItem> left = new CountingItem;
  spinning->QueueAPC(left.Get());  // gives up after a second
  spinning->StopEvent().Set();
  EXPECT_TRUE(Eventually([&] { return spinning->m_nRefCount == 1; }));
  spinning = nullptr;  // with the item still queued to it
  EXPECT_EQ(1, left->m_nRefCount);
  EXPECT_EQ(0, s_calls);
}

// The second poster is held up at the spin word, by the trace of a corrupt one, which waits for the
// channel to be set up. Meanwhile the first poster's item is posted and taken.
TEST(Thread, TwoPostersAtOnceStrandNoItem) {
  s_calls = 0;
  const CRefCount<QELThread> thread = new QELThread;
  const PokedWait wait(*thread, [&] { thread->RunPendingAPCs(); });
  std::atomic<std::uint32_t>& word = SpinWordOf(*thread);
  std::atomic<int> tid = 0;
  InitTraceOrDiag(eTrace);
  g_lInitTrace = 1;
  word = 2;
  std::jthread second([&] {
    CThreadAPC* const item = new CountingItem;
    tid = ::gettid();
    thread->QueueAPC(item);
  });
  EXPECT_TRUE(Eventually(
      [&] { return tid != 0 && IsInState("/proc/self/task/" + std::to_string(tid), "S"); }));
  word = 0;
  thread->QueueAPC(new CountingItem);
  EXPECT_EQ(1, s_calls);
  g_lInitTrace = 2;
  second.join();
  EXPECT_EQ(2, s_calls);
}

TEST(Thread, AStopKeepsATimeOutOfNoWholeSecondsAsleep) {
  CRefCount<QELThread> thread;
  QELBeginThread(thread, Block, nullptr);
  int pokes = 0;
  const PokedWait wait(*thread, [&] { ++pokes; });
  const std::clock_t processor = std::clock();
  const auto start = std::chrono::steady_clock::now();
  thread->Stop(999);  // of it, 1000 more are for the pokes
  const double took = SecondsSince(start);
  EXPECT_GE(took, 1.99);
  EXPECT_LT(took, 2.9);
  EXPECT_LE(std::clock() - processor, CLOCKS_PER_SEC / 2);
  EXPECT_LE(pokes, 101);  // one each 10 ms
  EXPECT_TRUE(Ends(thread));
}

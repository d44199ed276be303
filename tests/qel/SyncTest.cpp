#include <gtest/gtest.h>

#include <thread>

#include "QELThread.h"
#include "Waiting.h"

using namespace qel;

TEST(Event, ResetsAsItWasMade) {
  QELEvent automatic;
  QELManualEvent manual;
  EXPECT_FALSE(automatic.Lock(0));
  EXPECT_FALSE(manual.Lock(1000));
  automatic.Set();
  manual.Set();
  EXPECT_TRUE(automatic.Lock(QELInfinite));
  EXPECT_TRUE(manual.Lock(0));
  EXPECT_FALSE(automatic.Lock(0));
  EXPECT_TRUE(manual.Lock(1000));
}

TEST(Event, AutoResetLetsOneWaiterThrough) {
  QELEvent event;
  std::atomic<int> through = 0;
  std::jthread waiters[2];
  for (auto& waiter : waiters) waiter = std::jthread([&] { through += event.Lock(QELInfinite); });
  event.Set();
  EXPECT_TRUE(Eventually([&] { return through == 1; }));
  EXPECT_FALSE(event.Lock(1000));
  EXPECT_EQ(1, through);
  event.Set();
}

TEST(Event, AnItemMayWaitOnTheVeryEventThatRunsIt) {
  static QELEvent event;
  static std::atomic<int> state = 0;
  struct Item final : CThreadAPC {
    void run() override {
      state = 1;
      if (event.Lock(QELInfinite)) state = 2;
    }
  };
  CRefCount<QELThread> thread;
  QELBeginThread(
      thread, +[] { return unsigned(event.Lock(QELInfinite)); });
  thread->QueueAPC(new Item);
  ASSERT_TRUE(Eventually([] { return state == 1; }));
  event.Set();  // would block for ever if the outer wait kept the event's lock
  EXPECT_TRUE(Eventually([] { return state == 2; }));
  thread->Stop();  // reaches the outer wait: its record has been put back
  EXPECT_FALSE(thread->IsRunning());
  EXPECT_FALSE(event.Lock(0));  // and left it with the event's lock given back
}

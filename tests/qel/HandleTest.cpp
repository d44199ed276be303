#include <latch>

#include "QELRefCount.h"
#include "Support.h"

struct Object : CRefCountNumber {
  explicit Object(std::atomic<int>& dead) : m_dead(dead) {}
  ~Object() {
    EXPECT_EQ(1, m_nRefCount);
    const CRefCount<Object> again(this);  // must not reach zero a second time
    ++m_dead;
  }
  std::atomic<int>& m_dead;
};

TEST(Handle, TheLastOneDestroysTheObjectOnce) {
  std::atomic<int> dead = 0;
  CRefCount<Object> a = new Object(dead);
  a.Attach(a.Get());
  EXPECT_EQ(2, CRefCount<Object>(a)->m_nRefCount);
  EXPECT_EQ(0, dead);
  a = nullptr;
  EXPECT_EQ(1, dead);
  EXPECT_FALSE(a);
}

TEST(Handle, ASlotCanBeReplacedUnderItsReaders) {
  std::atomic<int> dead = 0;
  CLockedRefCount<Object> slot;
  slot.Set(new Object(dead));
  const CRefCount<Object> held = slot.Get();
  std::jthread reader([&](const std::stop_token& stop) {
    while (!stop.stop_requested()) EXPECT_GE(slot.Get()->m_nRefCount, 1);
  });
  std::atomic<int> replaced = 0;
  for (int i = 0; i < 20000; ++i) slot.Set(CRefCount<Object>(new Object(replaced)));
  reader = {};
  slot.Set(nullptr);
  EXPECT_EQ(20000, replaced);
  EXPECT_EQ(0, dead);
  EXPECT_EQ(1, held->m_nRefCount);
}

// Looks at the slot that held it while it is destroyed. Outside of that it is counted slowly, which
// gives other writers the time to arrive.
struct Looking {
  explicit Looking(CLockedRefCount<Looking>& slot) : m_slot(slot) {}
  ~Looking() {
    s_bDestroying = true;
    (void)m_slot.Get();
    s_bDestroying = false;
  }

  struct SlowCount {
    int fetch_add(int number) {
      if (!s_bDestroying) std::this_thread::yield();
      return m_value.fetch_add(number);
    }
    std::atomic<int> m_value = 0;
  } m_nRefCount;
  CLockedRefCount<Looking>& m_slot;
  static inline thread_local bool s_bDestroying = false;
};

TEST(Handle, ASlotWithTwoWritersDestroysOutsideTheSpinWord) {
  CLockedRefCount<Looking> slot;
  std::latch start(2);
  const auto write = [&] {
    start.arrive_and_wait();
    for (int i = 0; i < 40'000; ++i) slot.Set(new Looking(slot));
  };
  ::alarm(60);  // a destructor under the spin word waits for it for ever
  std::jthread other(write);
  write();
  other.join();
  ::alarm(0);
  slot.Set(nullptr);
  EXPECT_FALSE(slot.Get());
}

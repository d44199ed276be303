

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
  EXPECT_TRUE(CRefCount<Object>(a)->m_nRefCount == 2 && dead == 0);
  a = nullptr;
  EXPECT_TRUE(dead == 1 && !a);
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
  EXPECT_TRUE(dead == 0 && held->m_nRefCount == 1);
}

#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "QELRefCount.h"

struct Object {
  explicit Object(std::atomic<int>& dead) : m_dead(dead) {}
  ~Object() {
    EXPECT_EQ(1, m_nRefCount);
    const CRefCount<Object> again(this);  // must not reach zero a second time
    if (m_slot != nullptr) (void)m_slot->Get();
    ++m_dead;
  }
  std::atomic<int> m_nRefCount = 0;
  std::atomic<int>& m_dead;
  CLockedRefCount<Object>* m_slot = nullptr;
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

TEST(Handle, ASlotCanBeReplacedByTwoUnderItsReaders) {
  std::atomic<int> dead = 0, replaced = 0;
  CLockedRefCount<Object> slot;
  slot.Set(new Object(dead));
  const CRefCount<Object> held = slot.Get();
  const auto write = [&] {
    for (int i = 0; i < 300'000; ++i) {
      auto* const object = new Object(replaced);
      object->m_slot = &slot;
      slot.Set(object);
    }
  };
  ::alarm(200);  // a destructor under the spin word waits for it for ever
  std::jthread reader([&](const std::stop_token& stop) {
    while (!stop.stop_requested()) EXPECT_GE(slot.Get()->m_nRefCount, 1);
  });
  std::jthread other(write);
  write();
  other.join();
  reader = {};
  ::alarm(0);
  slot.Set(nullptr);
  EXPECT_EQ(600'000, replaced);
  EXPECT_EQ(0, dead);
  EXPECT_EQ(1, held->m_nRefCount);
}

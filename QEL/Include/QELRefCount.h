#pragma once

#include <atomic>
#include <utility>

#include "QELSpinWord.h"

/// Reference-counted handles. An object is created with a count of 0, handed at once to a
/// CRefCount<T>, and destroyed by whichever thread releases its last handle; it is never deleted by
/// hand. Counting is atomic with full ordering, so handles to one object may be copied and dropped
/// on any threads at once; a single handle is used by one thread at a time.

/// Base that carries the count. It has no virtual function: a polymorphic class has it as a second
/// base.
class CRefCountNumber {
 public:
  CRefCountNumber() noexcept = default;
  CRefCountNumber(const CRefCountNumber&) = delete;
  CRefCountNumber& operator=(const CRefCountNumber&) = delete;

  std::atomic<int> m_nRefCount{0};
};

/// Owns one reference to a `T`, or nothing. `T` derives from CRefCountNumber and is destroyed with
/// `delete`, unless it has a static `DestroyUnreferenced(T*)`, which then does it.
template <class T>
class CRefCount {
 public:
  CRefCount() noexcept = default;
  CRefCount(T* object) noexcept { Attach(object); }
  CRefCount(const CRefCount& other) noexcept { Attach(other.m_pObject); }
  virtual ~CRefCount() { Attach(nullptr); }

  CRefCount& operator=(T* object) noexcept {
    Attach(object);
    return *this;
  }
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): Attach takes before it releases
  CRefCount& operator=(const CRefCount& other) noexcept {
    Attach(other.m_pObject);
    return *this;
  }

  /// Points at `object`, which may be null, and releases what was held. Safe for the object that
  /// is held already, also when this is its only reference.
  void Attach(T* object) noexcept {
    if (object != nullptr) object->m_nRefCount.fetch_add(1);
    T* const old = std::exchange(m_pObject, object);
    if (old != nullptr) Release(old);
  }

  /// Exchanges the objects of two handles; no count changes.
  void Swap(CRefCount& other) noexcept { std::swap(m_pObject, other.m_pObject); }

  /// The object, still owned by its handles, or null.
  T* Get() const noexcept { return m_pObject; }
  T* operator->() const noexcept { return m_pObject; }
  T& operator*() const noexcept { return *m_pObject; }
  explicit operator bool() const noexcept { return m_pObject != nullptr; }

 private:
  static void Release(T* object) noexcept {
    if (object->m_nRefCount.fetch_add(-1) != 1) return;
    // The count stands at 1 during destruction: a handle taken and dropped there must not reach 0
    // again.
    object->m_nRefCount.fetch_add(1);
    Destroy(object, 0);
  }

  // A call with an int prefers the first overload, which exists only where T has the function.
  template <class U>
  static auto Destroy(U* object, int /*preferred*/) -> decltype(U::DestroyUnreferenced(object)) {
    return U::DestroyUnreferenced(object);
  }
  template <class U>
  static void Destroy(U* object, long /*otherwise*/) {
    delete object;
  }

  T* m_pObject = nullptr;
};

/// A handle that threads replace while others read it. Any thread may call every operation. It is
/// made for rare writers: a spin word is held for one pointer copy and one count.
template <class T>
class CLockedRefCount {
 public:
  /// Returns a handle to the object that the slot holds now, or an empty one. It stays valid when
  /// the slot is replaced.
  CRefCount<T> Get() const {
    CRefCount<T> result;
    const qel::QELSpinGuard guard(m_spin, kFile, kLine);
    result.Attach(m_object.Get());
    return result;
  }

  /// Replaces what the slot holds by `object`, which may be null. If this drops the last handle to
  /// the old object, its destructor runs here, outside the spin word.
  void Set(T* object) {
    CRefCount<T> swapped(object);
    const qel::QELSpinGuard guard(m_spin, kFile, kLine);
    swapped.Swap(m_object);
  }
  void Set(const CRefCount<T>& object) { Set(object.Get()); }

 private:
  // A corrupt spin word is reported as being here.
  static constexpr const char* kFile = "../../../QEL/Include/QELRefCount";
  static constexpr unsigned kLine = 236;

  mutable qel::QELSpinWord m_spin;
  CRefCount<T> m_object;
};

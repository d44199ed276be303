#pragma once

#include <atomic>
#include <cstddef>

#include "QELRefCount.h"
#include "QELSpinWord.h"

namespace qel {

/// The link that an item of a QELMTLinkedList carries inside it. Null while it is in no list.
struct QELListNode {
  QELListNode* m_pNext = nullptr;
  QELListNode* m_pPrev = nullptr;
};

/// A first-in, first-out list of reference-counted items, linked through a node embedded in each:
/// any thread appends, one owning thread takes off. Each item in the list holds one reference on
/// itself. An item is in one list at a time. Never allocates, never sleeps.
template <class T>
class QELMTLinkedList {
 public:
  /// `nodeOffset`: where in a `T` its QELListNode lies, in bytes.
  explicit QELMTLinkedList(std::size_t nodeOffset) noexcept : m_nNodeOffset(nodeOffset) {}
  QELMTLinkedList(const QELMTLinkedList&) = delete;
  QELMTLinkedList& operator=(const QELMTLinkedList&) = delete;

  /// Releases the items left.
  ~QELMTLinkedList() { Clear(); }

  /// Appends an item and takes a reference to it. Returns Passes() as it was when the item was
  /// appended: once it has changed, the owner has begun to take items off since.
  unsigned Append(T* item) {
    const Guard guard(m_spin, kFile, kLine);
    QELListNode* const node = NodeOf(item);
    node->m_pPrev = m_sentinel.m_pPrev;
    node->m_pNext = &m_sentinel;
    m_sentinel.m_pPrev->m_pNext = node;
    m_sentinel.m_pPrev = node;
    m_nCount.fetch_add(1);
    item->m_nRefCount.fetch_add(1);
    // The owner counts under the spin word, too. So a pass that is not counted yet begins after
    // this append and finds the item, and the pass that takes the item is not counted yet.
    return m_nPasses;
  }

  /// Takes the oldest item off, with the list's reference; empty when there is none. Owner only.
  /// Each call counts as one pass.
  CRefCount<T> TakeHead() {
    CRefCount<T> item;
    const Guard guard(m_spin, kFile, kLine);
    m_nPasses.store(m_nPasses.load(std::memory_order_relaxed) + 1);
    if (m_nCount != 0) UnlinkHead(item);
    return item;
  }

  /// Releases every item.
  void Clear() {
    const Guard guard(m_spin, kFile, kLine);
    while (m_nCount != 0) {
      CRefCount<T> item;
      UnlinkHead(item);
    }
    m_sentinel = {&m_sentinel, &m_sentinel};
  }

  /// Reads the count without the spin word.
  bool IsEmpty() const noexcept { return m_nCount == 0; }

  /// How often the owner has begun to take an item off. Reads without the spin word.
  unsigned Passes() const noexcept { return m_nPasses; }

 private:
  using Guard = QELSpinGuard;

  // A corrupt spin word is reported as being here.
  static constexpr const char* kFile = "./Include/QELMTLinkedList";
  static constexpr unsigned kLine = 88;

  QELListNode* NodeOf(T* item) const {
    return reinterpret_cast<QELListNode*>(reinterpret_cast<char*>(item) + m_nNodeOffset);
  }
  T* ItemOf(QELListNode* node) const {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(node) - m_nNodeOffset);
  }

  // Called with the spin word held and at least one item. `item` gets the list's reference.
  void UnlinkHead(CRefCount<T>& item) {
    QELListNode* const node = m_sentinel.m_pNext;
    m_sentinel.m_pNext = node->m_pNext;
    node->m_pNext->m_pPrev = &m_sentinel;
    *node = {};
    m_nCount.fetch_sub(1);
    item.Attach(ItemOf(node));
    item->m_nRefCount.fetch_sub(1);
  }

  QELListNode m_sentinel{&m_sentinel, &m_sentinel};
  std::atomic<unsigned> m_nCount{0};
  QELSpinWord m_spin;
  const std::size_t m_nNodeOffset;
  std::atomic<unsigned> m_nPasses{0};
};

}  // namespace qel

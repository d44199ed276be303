#pragma once

#include <cstddef>

#include "QELMTLinkedList.h"
#include "QELRefCount.h"

namespace qel {

/// A work item: posted to a thread with QELThread::QueueAPC and run there, once at most, inside
/// whatever library wait the thread is in or comes to. What a thread leaves behind is released
/// without being run.
///
/// It deliberately has no virtual destructor: whichever handle drops it last destroys its
/// CThreadAPC part alone. A derived item therefore has CThreadAPC as its first base, holds no
/// member that needs destruction, and is made with plain `new`.
class CThreadAPC : public CRefCountNumber {
 public:
  /// Runs on the target thread, with the lock of the event it waits in held. May throw: the
  /// exception leaves the thread's wait.
  virtual void run() = 0;

  /// Used by CRefCount for every type derived from this one.
  static void DestroyUnreferenced(CThreadAPC* item);

  /// Where an item's list node lies, in bytes.
  static std::size_t NodeOffset();

 protected:
  CThreadAPC() = default;
  ~CThreadAPC() = default;

 private:
  QELListNode m_node;
};

/// Unwinds the thread that runs it, by throwing CCancelThreadExcep, unless that thread refuses
/// cancellation or is being cancelled by force already.
class CCancelThread final : public CThreadAPC {
 public:
  void run() override;
};

}  // namespace qel

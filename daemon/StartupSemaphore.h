#pragma once

/// The SysV semaphore set by which whoever started the daemon learns that it is up. The set is
/// removed by the destructor, so also when an exception leaves the scope. First thread only.
class CStartupSemaphore {
 public:
  /// `id`: of the set. Does nothing yet.
  explicit CStartupSemaphore(int id) : m_nId(id) {}
  CStartupSemaphore(const CStartupSemaphore&) = delete;
  CStartupSemaphore& operator=(const CStartupSemaphore&) = delete;
  ~CStartupSemaphore();

  /// Raises semaphore 0 of the set by one, to be undone at the end of the process. Tries 10000
  /// times, a millisecond apart; a failure is not reported.
  void Raise();

 private:
  const int m_nId;
};

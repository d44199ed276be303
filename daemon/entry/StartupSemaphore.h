#pragma once

/// The SysV semaphore set whose first semaphore tells the starter of the daemon that the daemon is
/// up. The destructor removes the set, also when an exception leaves the scope. First thread only.
class CStartupSemaphore {
 public:
  /// `id`: identifier of the set. Makes no system call.
  explicit CStartupSemaphore(int id) : m_nId(id) {}
  CStartupSemaphore(const CStartupSemaphore&) = delete;
  CStartupSemaphore& operator=(const CStartupSemaphore&) = delete;
  ~CStartupSemaphore();

  /// Raises semaphore 0 of the set by one; the kernel undoes that when the process ends. Makes up
  /// to 10000 attempts, a millisecond apart, and does not report a failure.
  void Raise();

 private:
  const int m_nId;
};

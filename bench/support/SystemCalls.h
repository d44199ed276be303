#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// Counts the system calls of all threads of a process, from construction until Stop. Counts by
/// the kernel's own event if that is allowed here, else by strace, which slows the process down by
/// far: then only a load that waits for the process is worth counting.
class SystemCalls {
 public:
  enum class Means { kNone, kStrace, kKernel };

  /// What there is on this machine.
  static Means Available();

  /// `scratch`: a path for a file of its own. Throws std::runtime_error on failure.
  SystemCalls(pid_t pid, const std::string& scratch);
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;
  ~SystemCalls();

  /// Ends the counting and returns the count. Once only.
  long Stop();

 private:
  void StartStrace(pid_t pid);
  void EndStrace() noexcept;
  long ReadStrace() const;

  const std::string m_scratch;
  std::vector<int> m_counters;
  pid_t m_strace = -1;
};

#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Process.h"

/// Counts the system calls of all threads of some processes, from construction until Stop. Counts
/// by the kernel's own event if that is allowed here, else by strace, which slows the processes
/// down by far: then only a load that waits for them is worth counting.
class SystemCalls {
 public:
  /// What there is on this machine.
  static bool HasKernelEvent();
  static bool HasStrace();

  /// `scratch`: a path for a file of its own. If `written` names files, only writes to them count,
  /// and strace counts. Throws std::runtime_error on failure.
  SystemCalls(const std::vector<pid_t>& pids, const std::string& scratch,
              const std::vector<std::filesystem::path>& written = {});
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;
  ~SystemCalls();

  /// Ends the counting and returns the count. Once only.
  long Stop();

 private:
  void StartStrace(const std::vector<pid_t>& pids,
                   const std::vector<std::filesystem::path>& written);
  long ReadStrace() const;

  const std::string m_scratch;
  std::vector<int> m_counters;
  std::optional<Process> m_strace;  // killed when it has not been stopped
};

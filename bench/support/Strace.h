#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Process.h"

/// Counts the system calls of all threads of some processes, from construction until Stop. strace
/// slows them down by far, so that only a load that waits for them is worth counting.
class Strace {
 public:
  /// Whether this machine has it.
  static bool IsInstalled();

  /// `table`: a path for a file of its own. If `written` names files, only writes to them count.
  /// Throws std::runtime_error if a thread cannot be traced.
  Strace(const std::vector<pid_t>& pids, const std::string& table,
         const std::vector<std::filesystem::path>& written);

  /// Ends the counting and returns the count. Once only.
  long Stop();

 private:
  const std::string m_table;
  Process m_process;  // killed when it has not been stopped
};

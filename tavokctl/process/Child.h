#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "base/Descriptor.h"

/// A tavok started in the background as a child of this process: in a session of its own and in the
/// current working directory, with no signal blocked or ignored. Its standard error is read here,
/// its other standard streams are /dev/null. It outlives this object and this process. One thread.
class CChild {
 public:
  /// Starts the program with these words for arguments. Throws CFailure, "run <program>: ...".
  CChild(const std::string& program, const std::vector<std::string>& words);

  pid_t Pid() const { return m_pid; }

  /// Its standard error up to now.
  const std::string& Said() const { return m_said; }

  /// Waits at most two milliseconds for output to read; false if there was none.
  bool Listen();

  /// Whether it has ended; `status` is then as from waitpid. Must not be called again after that.
  bool HasEnded(int& status) const;

  /// Sends SIGTERM, and SIGKILL if it has not ended after 15 seconds.
  void End();

 private:
  CDescriptor m_output;
  pid_t m_pid;
  std::string m_said;
};

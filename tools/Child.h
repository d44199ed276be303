#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "Descriptor.h"

/// A tavok that has been started in the background, as a child of this process: in a session of its
/// own and the present working directory, with no signal blocked or ignored, and all standard
/// streams on /dev/null but its standard error, which is read here. It lives on when this object
/// and this process are gone. One thread.
class CChild {
 public:
  /// Starts the program with these words for arguments. Throws CFailure, "run <program>: ...".
  CChild(const std::string& program, const std::vector<std::string>& words);

  pid_t Pid() const { return m_pid; }

  /// What it has said up to now.
  const std::string& Said() const { return m_said; }

  /// Waits two milliseconds at most for something to be said; false when nothing was.
  bool Listen();

  /// Whether it has ended; `status` is then as of waitpid. To be called no more after that.
  bool HasEnded(int& status) const;

  /// Asks it to stop, and kills it when it has not after 15 seconds.
  void End();

 private:
  CDescriptor m_output;
  pid_t m_pid;
  std::string m_said;
};

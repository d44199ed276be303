#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>

#include "Descriptor.h"

/// What a pid file names. tavok believes its pid file; these tools do not.
struct CPidFile {
  enum EKind { kMissing, kPid, kNoPid };

  EKind kind;
  pid_t pid;  // positive, for kPid
};

/// Reads a pid file: digits alone, as tavok writes them, but for blanks and line ends around them.
/// An empty file, which tavok takes for none, counts as missing. Throws CFailure when it cannot be
/// read.
CPidFile ReadPidFile(const std::string& path);

/// A running tavok, held by a descriptor of its process, so that a signal reaches that process or
/// nobody. One thread at a time.
class CInstance {
 public:
  /// The tavok that the pid file names, if it runs. Else empty, and `why` tells the reason: there
  /// is no pid file, no such process, or one that is no tavok. Throws CFailure when that cannot be
  /// told.
  static std::unique_ptr<CInstance> Find(const std::string& pidFile, std::string& why);

  /// The same, but throws CFailure ("find tavok: <why>") when it does not run.
  static std::unique_ptr<CInstance> Get(const std::string& pidFile);

  pid_t Pid() const { return m_pid; }

  /// Throws CFailure, "signal process <pid>: ...".
  void Signal(int signal) const;

  /// Waits for the end of the process; false when the time is over.
  bool AwaitEnd(std::chrono::milliseconds time) const;

 private:
  CInstance(pid_t pid, CDescriptor process) : m_pid(pid), m_process(std::move(process)) {}

  const pid_t m_pid;
  const CDescriptor m_process;
};

#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "Settings.h"
#include "base/Descriptor.h"

/// The file name of its program.
inline constexpr const char* kProgramName = "tavok";

/// The content of a pid file. tavok trusts it; tavokctl does not.
struct CPidFile {
  enum EKind { kMissing, kPid, kNoPid };

  EKind kind;
  pid_t pid;  // positive, for kPid
};

/// Reads a pid file: digits, as tavok writes them, with blanks or line ends around them at most. An
/// empty file counts as missing, as it does for tavok. Throws CFailure if it cannot be read, or is
/// no regular file.
CPidFile ReadPidFile(const std::string& path);

/// A running tavok, held by a pidfd, so that a signal reaches that process or none. One thread at a
/// time.
class CInstance {
 public:
  /// The tavok of these settings, if it runs: the one that the pid file names, or else the one that
  /// has the current file or the socket open. `why` becomes the reason if it is not the first:
  /// there is no pid file, no such process, it is another program, or a tavok of another
  /// configuration. Null if there is neither. Throws CFailure if that cannot be found out, or if
  /// all that is found is the other tavok.
  static std::unique_ptr<CInstance> Find(const CSettings& settings, std::string& why);

  /// The same, but takes one that cannot be seen for none: for a start, to which it leaves no
  /// trace.
  static std::unique_ptr<CInstance> FindVisible(const CSettings& settings, std::string& why);

  /// As Find, but throws CFailure, "find tavok: <why>", instead of returning null.
  static std::unique_ptr<CInstance> Get(const CSettings& settings);

  pid_t Pid() const { return m_pid; }

  /// Throws CFailure, "signal process <pid>: ...". That it has ended is no failure.
  void Signal(int signal) const;

  /// Waits for the end of the process; false if it still runs after that time.
  bool AwaitEnd(unsigned seconds) const;

  /// Stops it in order, also if it is suspended, waits for its end, and prints that. Throws
  /// CFailure, "stop process <pid>: ...", if it still runs after that time, or as Signal does.
  void Stop(unsigned seconds) const;

 private:
  CInstance(pid_t pid, CDescriptor process) : m_pid(pid), m_process(std::move(process)) {}

  static std::unique_ptr<CInstance> Find(const CSettings& settings, std::string& why,
                                         std::string& doubt);
  static std::unique_ptr<CInstance> FindNamed(const std::string& pidFile, std::string& why);
  static std::unique_ptr<CInstance> Open(pid_t pid, const std::string& namedIn, std::string& why);

  const pid_t m_pid;
  const CDescriptor m_process;
};

#include "process/HandOver.h"

#include <cerrno>
#include <cstdio>

#include "base/Failure.h"
#include "base/Files.h"
#include "base/Stopwatch.h"
#include "process/Instance.h"
#include "process/Launch.h"

namespace {

void RemoveStale(const std::string& pidFile, const std::string& why) {
  const auto kind = ReadPidFile(pidFile).kind;
  if (kind == CPidFile::kMissing) return;
  if (kind == CPidFile::kNoPid) {
    throw CFailure("use pid file " + pidFile +
                   ": it does not hold a process id; remove it, or change PidFileName");
  }
  if (std::remove(pidFile.c_str()) != 0) throw CFailure("remove stale pid file " + pidFile, errno);
  std::fprintf(stderr, "removed a stale pid file: %s\n", why.c_str());
}

// Two tavok that start at the same moment do not see each other's pid file, so one start waits for
// the other. Anybody who may read the configuration can hold the lock, too: that delays a start,
// but must not prevent it.
CDescriptor TryToLock(const std::string& config, unsigned timeout) {
  try {
    return Locked(config, timeout);
  } catch (const CFailure& e) {
    std::fprintf(stderr, "continuing without a lock: %s\n", e.what());
    return CDescriptor();
  }
}

}  // namespace

void MakeRoom(const std::string& pidFile, unsigned seconds) {
  std::string why;
  if (const auto running = CInstance::Find(pidFile, why)) {
    running->Stop(seconds);
    why = "tavok has left it";
  }
  RemoveStale(pidFile, why);
}

void HandOver(const std::string& pidFile, const std::string& config,
              const std::vector<std::string>& options, unsigned timeout) {
  const CDescriptor lock = TryToLock(config, timeout);
  MakeRoom(pidFile, timeout);
  const CStopwatch watch;
  const pid_t pid = Launch(config, options, timeout);
  std::printf("tavok is up: pid %d, %.3f s\n", pid, watch.Seconds());
}

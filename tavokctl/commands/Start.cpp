#include <cerrno>
#include <cstdio>

#include "Commands.h"
#include "base/Failure.h"
#include "base/Files.h"
#include "base/Options.h"
#include "base/Stopwatch.h"
#include "config/Config.h"
#include "process/Instance.h"
#include "process/Launch.h"

namespace {

constexpr unsigned kTakeOverSeconds = 5;
constexpr const char* kUsage =
    "Usage: tavokctl start [-c FILE] [-t SECONDS] [-- OPTIONS]\n"
    "Starts tavok in the background, in this directory, and returns when it is up. Takes over "
    "from\n"
    "the tavok that the configuration's pid file names, if it runs, which takes five seconds "
    "more.\n"
    "  -c, --config FILE      its configuration\n"
    "  -t, --timeout SECONDS  give up and end it if it is not up by then (default: 30)\n"
    "  OPTIONS                further options for tavok\n";

// tavok signals whatever process its pid file names and then waits for five seconds: it must not
// find a pid file that names no tavok. Returns whether there is one to take over from.
bool RemoveStale(const std::string& pidFile) {
  std::string why;
  if (CInstance::Find(pidFile, why)) return true;
  const auto kind = ReadPidFile(pidFile).kind;
  if (kind == CPidFile::kMissing) return false;
  if (kind == CPidFile::kNoPid) {
    throw CFailure("use pid file " + pidFile +
                   ": it does not hold a process id; remove it, or change PidFileName");
  }
  if (std::remove(pidFile.c_str()) != 0) throw CFailure("remove stale pid file " + pidFile, errno);
  std::fprintf(stderr, "removed a stale pid file: %s\n", why.c_str());
  return false;
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

int Start(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned timeout = 30;
  const auto options =
      ReadOptions(argc, argv, kUsage, {ConfigOption(config), TimeoutOption(timeout)});

  const auto settings = ReadSettings(config);
  const CDescriptor lock = TryToLock(config, timeout);
  // The old tavok is stopped first: giving up during the take-over would leave none running.
  if (RemoveStale(settings->m_strPidFileName)) timeout += kTakeOverSeconds;
  const CStopwatch watch;
  const pid_t pid = Launch(config, options, timeout);
  std::printf("tavok is up: pid %d, %.3f s\n", pid, watch.Seconds());
  return kDone;
}

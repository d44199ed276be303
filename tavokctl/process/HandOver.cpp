#include "process/HandOver.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "QELString.h"
#include "base/Failure.h"
#include "base/Files.h"
#include "base/Lock.h"
#include "base/Output.h"
#include "base/Stopwatch.h"
#include "base/UnixSocket.h"
#include "process/Instance.h"
#include "process/Launch.h"
#include "process/Service.h"
#include "process/Systemd.h"

namespace {

void RemoveStale(const std::string& pidFile, const std::string& why) {
  const auto kind = ReadPidFile(pidFile).kind;
  if (kind == CPidFile::kMissing) return;
  if (kind == CPidFile::kNoPid) {
    throw CFailure("use pid file " + pidFile +
                   ": it does not hold a process id; remove it, or change PidFileName");
  }
  if (std::remove(pidFile.c_str()) != 0) throw CFailure("remove stale pid file " + pidFile, errno);
  Complain("removed a stale pid file: " + why);
}

// systemd would start another, and a command would have told what is not true for long.
void RefuseTheServices(const CInstance& instance) {
  if (IsInTheService() || UnitOf(instance.Pid()) != kServiceUnit) return;
  throw CFailure("stop process " + std::to_string(instance.Pid()) +
                 ": it is that of tavok.service; leave out -c, or use systemctl");
}

// tavok would go on without its pid file, and no command would find it.
void RequireWritable(const std::string& pidFile) {
  if (pidFile.empty()) throw CFailure("start tavok: PidFileName is empty: it could not be found");
  const std::string folder = std::filesystem::absolute(pidFile).parent_path();
  const bool isThere = Look(pidFile).has_value();
  if (::access(isThere ? pidFile.c_str() : folder.c_str(), isThere ? W_OK : W_OK | X_OK) == -1) {
    throw CFailure("start tavok: write pid file " + pidFile, errno);
  }
}

// tavok would take the path from whoever receives there.
void RequireFree(const std::string& port) {
  if (CSettings::PortNumber(port) != 0 || !IsAlive(port)) return;
  throw CFailure("start tavok: Port " + port + " is the socket of another program, which answers");
}

}  // namespace

void MakeRoom(const CSettings& settings, unsigned seconds) {
  std::string why;
  if (const auto running = CInstance::Find(settings, why)) {
    RefuseTheServices(*running);
    running->Stop(seconds);
    why = "tavok has left it";
  }
  RemoveStale(settings.m_strPidFileName, why);
}

void StopInstance(const CSettings& settings, unsigned seconds) {
  const auto running = CInstance::Get(settings);
  RefuseTheServices(*running);
  running->Stop(seconds);
}

void HandOver(const CSettings& settings, const std::vector<std::string>& options,
              unsigned timeout) {
  RequireWritable(settings.m_strPidFileName);
  const auto lock = LockOf(settings, timeout);
  MakeRoom(settings, timeout);
  RequireFree(settings.m_strPort);
  const CStopwatch watch;
  const pid_t pid = Launch(settings, options, timeout);
  Say(qel::QELSPrintf("tavok is up: pid %d, %.3f s", pid, watch.Seconds()));
}

std::unique_ptr<CLock> LockOf(const CSettings& settings, unsigned seconds) {
  return CLock::Take(settings.m_strPidFileName + ".lock", seconds);
}

#include "process/HandOver.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "QELString.h"
#include "base/Failure.h"
#include "base/Files.h"
#include "base/KernelSockets.h"
#include "base/Lock.h"
#include "base/Output.h"
#include "base/Stopwatch.h"
#include "base/UnixSocket.h"
#include "process/Command.h"
#include "process/Instance.h"
#include "process/Launch.h"
#include "process/ProcFiles.h"
#include "process/Search.h"
#include "process/Service.h"

namespace {

constexpr useconds_t kPollUs = 2000;

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
  if (IsInTheService(::getpid()) || !IsInTheService(instance.Pid())) return;
  throw CFailure("stop process " + std::to_string(instance.Pid()) +
                 ": it is that of tavok.service; leave out -c, or use systemctl");
}

// tavok would go on without its pid file, and no command would find it.
void RequireWritable(const std::string& pidFile) {
  if (pidFile.empty()) throw CFailure("start tavok: PidFileName is empty: it could not be found");
  const std::string folder = FolderOf(pidFile);
  const bool isThere = Look(pidFile).has_value();
  if (::access(isThere ? pidFile.c_str() : folder.c_str(), isThere ? W_OK : W_OK | X_OK) == -1) {
    throw CFailure("start tavok: write pid file " + pidFile, errno);
  }
}

// The new one would run with other rights, and leave files that the old one's user may not open.
void RequireSameUser(const CInstance& running) {
  const auto process = Look(ProcPath(running.Pid(), ""));
  if (!process || process->owner == ::geteuid()) return;
  throw CFailure("start tavok: process " + std::to_string(running.Pid()) +
                 " is that of another user, who has to start the next one");
}

// What keeps a start from failing after the old one has been stopped.
void RequireDirectory(const std::string& directory) {
  const std::string folder = FolderOf(directory);
  const bool isThere = TryToLook(directory).has_value();
  if (::access(isThere ? directory.c_str() : folder.c_str(), W_OK | X_OK) == 0) return;
  throw CFailure("start tavok: write to DirName " + directory, errno);
}

void RequirePort(const CSettings& settings) {
  const int error =
      ErrorOfBinding(AddressOf(settings.m_strBindingAddress), UdpPortOf(settings.m_strPort));
  if (error != 0) throw CFailure("start tavok: bind Port " + settings.m_strPort, error);
}

void RequireNoOther(const CSettings& settings, pid_t running) {
  const auto other = FindOtherWriter(settings, running);
  if (!other) return;
  throw CFailure("start tavok: DirName " + settings.m_strDirName + " is in use by process " +
                 std::to_string(*other) + ", another tavok");
}

// tavok would take the path from whoever receives there.
void RequireFree(const std::string& path) {
  if (!IsAlive(path)) return;
  throw CFailure("start tavok: Port " + path + " is the socket of another program, which answers");
}

// That one's descriptors may be hidden even from its own user.
bool HasIt(const CInstance& running, const CSettings& settings) {
  try {
    return HasSocket(running.Pid(), settings);
  } catch (const CFailure&) {
    return true;
  }
}

void RequireSocket(const CSettings& settings, const CInstance* running) {
  if (running != nullptr && HasIt(*running, settings)) return;
  if (CSettings::PortNumber(settings.m_strPort) == 0) {
    RequireFree(settings.m_strPort);
  } else if (running != nullptr) {
    RequirePort(settings);
  }
}

// One that another tavokctl has just become has no pid file yet.
void AwaitBeginner(const CSettings& settings) {
  for (const CStopwatch watch; watch.Seconds() < 1 && IsOneBeginning(settings);) ::usleep(kPollUs);
}

void Clear(const CSettings& settings, const CInstance* running, unsigned seconds, std::string why) {
  if (running != nullptr) {
    running->Stop(seconds);
    why = "tavok has left it";
  }
  RemoveStale(settings.m_strPidFileName, why);
}

}  // namespace

void MakeRoom(const CSettings& settings, unsigned seconds, bool isHeld) {
  AwaitBeginner(settings);
  RequireWritable(settings.m_strPidFileName);
  std::string why;
  const auto running = CInstance::FindVisible(settings, why);
  if (running) {
    RefuseTheServices(*running);
    RequireSameUser(*running);
    RequireDirectory(settings.m_strDirName);
  }
  RequireNoOther(settings, running ? running->Pid() : 0);
  if (!isHeld) RequireSocket(settings, running.get());
  Clear(settings, running.get(), seconds, why);
}

void MakeRoomForService(const CSettings& settings, unsigned seconds) {
  std::string why;
  const auto running = CInstance::FindVisible(settings, why);
  if (!running || !IsInTheService(running->Pid())) Clear(settings, running.get(), seconds, why);
}

void StopInstance(const CSettings& settings, unsigned seconds) {
  const auto running = CInstance::Get(settings);
  RefuseTheServices(*running);
  running->Stop(seconds);
}

void HandOver(const CSettings& settings, const std::vector<std::string>& options,
              unsigned timeout) {
  (void)FindProgram();
  RequireWritable(settings.m_strPidFileName);
  const auto lock = LockOf(settings, timeout);
  MakeRoom(settings, timeout, false);
  const CStopwatch watch;
  const pid_t pid = Launch(settings, options, timeout);
  Say(qel::QELSPrintf("tavok is up: pid %d, %.3f s", pid, watch.Seconds()));
}

std::unique_ptr<CLock> LockOf(const CSettings& settings, unsigned seconds) {
  return CLock::Take(settings.m_strPidFileName + ".lock", seconds);
}

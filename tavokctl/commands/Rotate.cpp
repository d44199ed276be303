#include <signal.h>
#include <unistd.h>

#include <optional>

#include "Commands.h"
#include "LogFileNames.h"
#include "QELString.h"
#include "base/Failure.h"
#include "base/Figures.h"
#include "base/Files.h"
#include "base/Lock.h"
#include "base/Options.h"
#include "base/Output.h"
#include "base/Stopwatch.h"
#include "config/Config.h"
#include "process/HandOver.h"
#include "process/Instance.h"
#include "process/ProcFiles.h"
#include "process/Service.h"
#include "state/LogDirectory.h"
#include "state/ProcessState.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl rotate [-c FILE] [-t SECONDS]\n"
    "Makes the running tavok rotate its current file, and returns when it has. With the default\n"
    "configuration, where tavok is installed as a service, this is `systemctl reload\n"
    "tavok.service`.\n"
    "  -c, --config FILE      the configuration it was started with\n"
    "  -t, --timeout SECONDS  wait at most this long for the rotated file (default: 10)\n";

constexpr useconds_t kPollUs = 2000;

// tavok would replace the file of a rotation in the same second: wait until that second is over.
// Where the clock has been set back, there can be files of the seconds to come.
void AwaitFreshSecond(const std::string& directory, const CStopwatch& watch, unsigned timeout) {
  for (; Look(PathIn(directory, RotatedNameOfNow())); ::usleep(kPollUs)) {
    if (watch.Seconds() < timeout) continue;
    throw CFailure("rotate in " + directory + ": there is a " + RotatedNameOfNow() +
                   " already, and has been for each of " + std::to_string(timeout) + " s");
  }
}

// The file of that identity, once it has been renamed and there is a new current file.
std::optional<CRotatedFile> FindRotated(const std::string& directory, const CFileId& id) {
  const auto current = Look(PathIn(directory, kCurrentName));
  if (!current || current->id == id) return {};
  for (const CRotatedFile& file : RotatedFiles(directory)) {
    if (file.state.id == id) return file;
  }
  return {};
}

// tavok does not know what has been edited since its start.
std::string DirectoryOf(const CSettings& settings, const CInstance& instance) {
  const CProcessState process = LookAtProcess(instance.Pid());
  if (!IsYounger(settings.m_strConfFile, process)) return settings.m_strDirName;
  return DirectoryInUse(OpenFilesOf(instance.Pid()), settings.m_strDirName);
}

CRotatedFile AwaitRotated(const std::string& directory, const CFileId& id,
                          const CInstance& instance, const CStopwatch& watch, unsigned timeout) {
  while (watch.Seconds() < timeout) {
    if (const auto rotated = FindRotated(directory, id)) return *rotated;
    if (instance.AwaitEnd(0)) throw CFailure("rotate in " + directory + ": tavok has ended");
    ::usleep(kPollUs);
  }
  if (LookAtProcess(instance.Pid()).isSuspended) {
    throw CFailure("rotate in " + directory + ": tavok is suspended, and rotates after SIGCONT");
  }
  throw CFailure("rotate in " + directory + ": no new file after " + std::to_string(timeout) +
                 " s; the system log may say why");
}

void RotateInstance(const CSettings& settings, unsigned timeout) {
  const CStopwatch whole;
  const auto instance = CInstance::Get(settings);
  const std::string directory = DirectoryOf(settings, *instance);
  const auto lock = LockOf(settings, timeout);
  AwaitFreshSecond(directory, whole, timeout);
  const auto current = Look(PathIn(directory, kCurrentName));
  if (!current) {
    throw CFailure("rotate in " + directory + ": there is no " + kCurrentName +
                   "; after a failed rotation, create an empty one first");
  }
  const CStopwatch watch;
  instance->Signal(SIGHUP);
  const CRotatedFile rotated = AwaitRotated(directory, current->id, *instance, whole, timeout);
  Say(qel::QELSPrintf("tavok has rotated: %s, %s, pid %d, %.3f s", rotated.name.c_str(),
                      Size(rotated.state.size).c_str(), instance->Pid(), watch.Seconds()));
}

}  // namespace

int Rotate(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned timeout = 10;
  ReadOptions(argc, argv, kUsage, {ConfigOption(config), TimeoutOption(timeout)});

  if (IsServiceOf(config)) {
    RotateService();
  } else {
    RotateInstance(*ReadSettings(config), timeout);
  }
  return kDone;
}

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <optional>

#include "Commands.h"
#include "LogFileNames.h"
#include "base/Failure.h"
#include "base/Figures.h"
#include "base/Files.h"
#include "base/Options.h"
#include "base/Stopwatch.h"
#include "config/Config.h"
#include "process/Instance.h"
#include "state/LogDirectory.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl rotate [-c FILE] [-t SECONDS]\n"
    "Makes the running tavok rotate its current file, and returns when it has.\n"
    "  -c, --config FILE      the configuration it was started with\n"
    "  -t, --timeout SECONDS  wait at most this long for the rotated file (default: 10)\n";

constexpr useconds_t kPollUs = 2000;

// tavok would replace the file of a rotation in the same second: wait until that second is over.
void AwaitFreshSecond(const std::string& directory) {
  while (Look(PathIn(directory, RotatedNameOfNow()))) ::usleep(kPollUs);
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

CRotatedFile AwaitRotated(const std::string& directory, const CFileId& id,
                          const CInstance& instance, unsigned timeout) {
  for (const CStopwatch watch; watch.Seconds() < timeout;) {
    if (const auto rotated = FindRotated(directory, id)) return *rotated;
    if (instance.AwaitEnd(0)) throw CFailure("rotate in " + directory + ": tavok has ended");
    ::usleep(kPollUs);
  }
  throw CFailure("rotate in " + directory + ": no new file after " + std::to_string(timeout) +
                 " s; the system log may say why");
}

}  // namespace

int Rotate(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned timeout = 10;
  ReadOptions(argc, argv, kUsage, {ConfigOption(config), TimeoutOption(timeout)});

  const auto settings = ReadSettings(config);
  const std::string& directory = settings->m_strDirName;
  const auto instance = CInstance::Get(settings->m_strPidFileName);
  const CDescriptor lock = Locked(directory, timeout);
  AwaitFreshSecond(directory);
  const auto current = Look(PathIn(directory, kCurrentName));
  if (!current) {
    throw CFailure("rotate in " + directory + ": there is no " + kCurrentName +
                   "; after a failed rotation, create an empty one first");
  }
  const CStopwatch watch;
  instance->Signal(SIGHUP);
  const CRotatedFile rotated = AwaitRotated(directory, current->id, *instance, timeout);
  std::printf("tavok has rotated: %s, %s, pid %d, %.3f s\n", rotated.name.c_str(),
              Size(rotated.state.size).c_str(), instance->Pid(), watch.Seconds());
  return kDone;
}

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>

#include <cstdio>
#include <optional>

#include "Command.h"
#include "Config.h"
#include "Files.h"
#include "Format.h"
#include "Instance.h"
#include "LogFileNames.h"
#include "Stopwatch.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl rotate [-c FILE] [-t SECONDS]\n"
    "Makes the running tavok rotate its current file, and returns when it has.\n"
    "  -c, --config FILE      the configuration it was started with\n"
    "  -t, --timeout SECONDS  wait so long for the rotated file (default: 10)\n";

constexpr useconds_t kPollUs = 2000;

// tavok replaces a rotated file of the same second: one that has seen a rotation is waited out.
void AwaitFreshSecond(const std::string& directory) {
  while (Look(PathIn(directory, RotatedNameOfNow()))) ::usleep(kPollUs);
}

// The file of that identity, once it has a rotated name and another one is in its place.
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
    if (instance.AwaitEnd({})) throw CFailure("rotate in " + directory + ": tavok has ended");
    ::usleep(kPollUs);
  }
  throw CFailure("rotate in " + directory + ": no new file after " + std::to_string(timeout) +
                 " s; the system log may tell why");
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

#include <signal.h>

#include <cstdio>

#include "Commands.h"
#include "base/Failure.h"
#include "base/Options.h"
#include "base/Stopwatch.h"
#include "config/Config.h"
#include "process/Instance.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl stop [-c FILE] [-t SECONDS]\n"
    "Stops the tavok that the configuration's pid file names, and returns when it has ended.\n"
    "  -c, --config FILE      the configuration it was started with\n"
    "  -t, --timeout SECONDS  wait at most this long for its end (default: 30)\n";

}  // namespace

int Stop(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned timeout = 30;
  ReadOptions(argc, argv, kUsage, {ConfigOption(config), TimeoutOption(timeout)});

  const auto instance = CInstance::Get(ReadSettings(config)->m_strPidFileName);
  const CStopwatch watch;
  instance->Signal(SIGTERM);
  if (!instance->AwaitEnd(timeout)) {
    throw CFailure("stop process " + std::to_string(instance->Pid()) + ": still running after " +
                   std::to_string(timeout) + " s");
  }
  std::printf("tavok has stopped: pid %d, %.3f s\n", instance->Pid(), watch.Seconds());
  return kDone;
}

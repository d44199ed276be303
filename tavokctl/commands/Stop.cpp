#include "Commands.h"
#include "base/Failure.h"
#include "base/Options.h"
#include "config/Config.h"
#include "process/Instance.h"
#include "process/Service.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl stop [-c FILE] [-t SECONDS]\n"
    "Stops the tavok that the configuration's pid file names, and returns when it has ended. Where "
    "the\n"
    "default configuration is a service's, stops that and its socket by systemctl.\n"
    "  -c, --config FILE      the configuration it was started with\n"
    "  -t, --timeout SECONDS  wait at most this long for its end (default: 30)\n";

}  // namespace

int Stop(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned timeout = 30;
  ReadOptions(argc, argv, kUsage, {ConfigOption(config), TimeoutOption(timeout)});

  const std::string pidFile = ReadSettings(config)->m_strPidFileName;
  if (IsServiceOf(config)) {
    StopService(pidFile, timeout);
  } else {
    CInstance::Get(pidFile)->Stop(timeout);
  }
  return kDone;
}

#include "Commands.h"
#include "base/Failure.h"
#include "base/Options.h"
#include "config/Config.h"
#include "process/Foreground.h"
#include "process/HandOver.h"
#include "process/Service.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl start [-c FILE] [-f] [-t SECONDS] [-- OPTIONS]\n"
    "Starts tavok in the background, in this directory, and returns when it is up. First stops "
    "the\n"
    "tavok that the configuration's pid file names, if it runs. With the default configuration,\n"
    "where tavok is installed as a service, this is `systemctl restart tavok.service`.\n"
    "  -c, --config FILE      its configuration\n"
    "  -f, --foreground       become tavok instead, for a service manager\n"
    "  -t, --timeout SECONDS  wait at most this long for the end of the old one, and then for the "
    "new\n"
    "                         one, which is ended if it is not up by then (default: 30)\n"
    "  OPTIONS                further options for tavok\n";

}  // namespace

int Start(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned timeout = 30;
  bool isForeground = false;
  const auto options = ReadOptions(
      argc, argv, kUsage,
      {ConfigOption(config),
       TimeoutOption(timeout),
       {'f', "foreground", false, [&isForeground](const std::string&) { isForeground = true; }}});

  const std::string pidFile = ReadSettings(config)->m_strPidFileName;
  if (isForeground) {
    if (IsServiceOf(config)) {
      throw CWrongUse("--foreground with this configuration is for its service");
    }
    MakeRoom(pidFile, timeout);
    BecomeTavok(config, options);
  }
  if (!IsServiceOf(config)) {
    HandOver(pidFile, config, options, timeout);
  } else if (options.empty()) {
    RestartService(pidFile, timeout);
  } else {
    throw CWrongUse("options for tavok need -c: the service has its own");
  }
  return kDone;
}

#include "Commands.h"
#include "base/Failure.h"
#include "base/Options.h"
#include "commands/Starting.h"
#include "config/Config.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl restart [-c FILE] [-t SECONDS]\n"
    "Stops the tavok that the configuration's pid file names, if it runs, starts a new one as\n"
    "`start` does, and returns when it is up. With the default configuration, where tavok is\n"
    "installed as a service, this is `systemctl restart tavok.service`.\n"
    "  -c, --config FILE      the configuration\n"
    "  -t, --timeout SECONDS  wait at most this long for each of the two (default: 30)\n";

}  // namespace

int Restart(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned timeout = 30;
  ReadOptions(argc, argv, kUsage, {ConfigOption(config), TimeoutOption(timeout)});

  StartAnew(config, {}, timeout);
  return kDone;
}

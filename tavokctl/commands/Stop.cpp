#include "Commands.h"
#include "base/Failure.h"
#include "base/Options.h"
#include "base/Output.h"
#include "config/Config.h"
#include "process/HandOver.h"
#include "process/Service.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl stop [-c FILE] [-t SECONDS]\n"
    "Stops the tavok that the configuration's pid file names, and returns when it has ended.\n"
    "With the default configuration, where tavok is installed as a service, stops that and its\n"
    "socket by systemctl.\n"
    "  -c, --config FILE      the configuration it was started with\n"
    "  -t, --timeout SECONDS  wait at most this long for its end (default: 30)\n";

// The settings, unless the configuration cannot be read by now, which does not keep the service
// from stopping.
CRefCount<CSettings> TryToRead(const std::string& config) {
  try {
    return ReadSettings(config);
  } catch (const CFailure& e) {
    Complain(std::string("another tavok than the service's is not looked for: ") + e.what());
    return nullptr;
  }
}

}  // namespace

int Stop(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned timeout = 30;
  ReadOptions(argc, argv, kUsage, {ConfigOption(config), TimeoutOption(timeout)});

  if (IsServiceOf(config)) {
    StopService();
    if (const auto settings = TryToRead(config)) MakeRoomForService(*settings, timeout);
  } else {
    StopInstance(*ReadSettings(config), timeout);
  }
  return kDone;
}

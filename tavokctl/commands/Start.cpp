#include <algorithm>
#include <cstdlib>
#include <optional>

#include "Commands.h"
#include "Environment.h"
#include "base/Failure.h"
#include "base/Lock.h"
#include "base/Options.h"
#include "commands/Starting.h"
#include "config/Config.h"
#include "process/Foreground.h"
#include "process/HandOver.h"
#include "process/Service.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl start [-c FILE] [-f] [-m MODE] [-t SECONDS] [-- OPTIONS]\n"
    "Starts tavok in the background, in this directory, and returns when it is up. First stops "
    "the\n"
    "tavok that the configuration's pid file names, if it runs. With the default configuration,\n"
    "where tavok is installed as a service, this is `systemctl restart tavok.service`.\n"
    "  -c, --config FILE      its configuration\n"
    "  -f, --foreground       become tavok instead, for a service manager\n"
    "  -m, --socket-mode MODE with -f: the mode of the socket, in octal digits, once tavok is up\n"
    "  -t, --timeout SECONDS  wait at most this long for the end of the old one, and then for the "
    "new\n"
    "                         one, which is ended if it is not up by then (default: 30)\n"
    "  OPTIONS                further options for tavok\n";

// Whether a service manager has passed sockets to this process, which tavok will be.
bool IsSocketPassed() {
  const char* const pid = std::getenv("LISTEN_PID");
  return pid != nullptr && IsThisProcess(pid);
}

mode_t ReadMode(const std::string& text) {
  const bool isMode = text.size() == 3 && text.find_first_not_of("01234567") == text.npos;
  if (!isMode) throw CWrongUse("--socket-mode takes three octal digits, not \"" + text + "\"");
  return static_cast<mode_t>(std::stoi(text, nullptr, 8));
}

[[noreturn]] void StartInForeground(const std::string& config,
                                    const std::vector<std::string>& options, unsigned timeout,
                                    std::optional<mode_t> mode) {
  if (IsServiceOf(config)) {
    throw CWrongUse("--foreground with this configuration is for its service");
  }
  PrepareForContainer();
  CSocketMode socket;
  {
    const auto settings = ReadSettings(config);
    const auto lock = LockOf(*settings, timeout);
    MakeRoom(*settings, timeout, IsSocketPassed());
    const bool isPath = CSettings::PortNumber(settings->m_strPort) == 0;
    if (mode && isPath && !IsSocketPassed()) socket = {settings->m_strPort, *mode};
  }
  BecomeTavok(config, options, socket);
}

}  // namespace

int Start(int argc, char** argv) {
  std::string config = kDefaultConfig;
  unsigned timeout = 30;
  bool isForeground = false;
  std::optional<mode_t> mode;
  const auto options = ReadOptionsAndWords(
      argc, argv, kUsage,
      {ConfigOption(config),
       TimeoutOption(timeout),
       FlagOption('f', "foreground", isForeground),
       {'m', "socket-mode", true, [&mode](const std::string& text) { mode = ReadMode(text); }}});
  // Behind it, tavok would read no options, ours included.
  if (std::find(options.begin(), options.end(), "--") != options.end()) {
    throw CWrongUse("-- among the options for tavok");
  }
  if (isForeground) StartInForeground(config, options, timeout, mode);
  if (mode) throw CWrongUse("--socket-mode without --foreground");
  StartAnew(config, options, timeout);
  return kDone;
}

#include "process/Service.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "base/Failure.h"
#include "base/Files.h"
#include "base/Output.h"
#include "process/HandOver.h"
#include "process/ProcFiles.h"
#include "process/Systemd.h"

namespace {

bool IsActive(const char* unit) { return Systemctl({"is-active", "--quiet", unit}) == 0; }

void Act(const std::string& verb, const std::string& unit) {
  const std::string command = "systemctl " + verb + " " + unit;
  Say(command);
  (void)std::fflush(stdout);  // before what systemctl prints
  if (const int status = Systemctl({verb, unit}); status != 0) {
    throw CFailure(command + ": it ended with status " + std::to_string(status));
  }
}

}  // namespace

bool IsServiceOf(const std::string& config) {
  if (IsInTheService(::getpid())) return false;
  std::error_code missing;
  const bool isItsFile =
      config == TAVOK_CONFIG || std::filesystem::equivalent(config, TAVOK_CONFIG, missing);
  return isItsFile && IsSystemdThere() && ::access(TAVOK_UNITS "/tavok.service", F_OK) == 0;
}

bool IsInTheService(pid_t pid) {
  try {
    return ReadText(ProcPath(pid, "cgroup")).find(std::string("/") + kServiceUnit) !=
           std::string::npos;
  } catch (const CFailure&) {
    return false;
  }
}

void RestartService(const CSettings& settings, unsigned seconds) {
  if (!IsActive(kServiceUnit)) MakeRoomForService(settings, seconds);
  Act("restart", kServiceUnit);
}

void RotateService() { Act("reload", kServiceUnit); }

void StopService() {
  for (const char* const unit : {"tavok-recover.service", kSocketUnit, kServiceUnit}) {
    Act("stop", unit);
  }
  // If tavok was being started again meanwhile, that has opened it again.
  if (IsActive(kSocketUnit)) Act("stop", kSocketUnit);
}

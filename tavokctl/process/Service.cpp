#include "process/Service.h"

#include <unistd.h>

#include <filesystem>

#include "base/Failure.h"
#include "base/Files.h"
#include "base/KernelSockets.h"
#include "base/Output.h"
#include "process/HandOver.h"
#include "process/ProcFiles.h"
#include "process/Systemd.h"

namespace {

bool IsActive(const char* unit) { return Systemctl({"is-active", "--quiet", unit}) == 0; }

void Act(const std::string& verb, const std::string& unit) {
  const std::string command = "systemctl " + verb + " " + unit;
  Say(command);
  PushOutput();  // before what systemctl prints
  if (const int status = Systemctl({verb, unit}); status != 0) {
    throw CFailure(command + ": it ended with status " + std::to_string(status));
  }
}

// Whether the path of tavok.socket does not lead any more to what systemd, as root, has opened.
bool IsPathLost() {
  const std::string listen = UnitProperty(kSocketUnit, "Listen");  // "/path (Datagram)"
  const std::string path = listen.substr(0, listen.rfind(" ("));
  if (!path.starts_with('/')) return false;
  try {
    const CReceiver receiver = ReceiverAt(path);
    return receiver.IsNobody() || (receiver.socket && receiver.socket->owner.value_or(0) != 0);
  } catch (const CFailure&) {
    return false;  // the kernel does not tell
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
    const std::string groups = ReadText(ProcPath(pid, "cgroup"));
    const bool isUsers = groups.find("/user@") != groups.npos;  // of a user's own manager
    return !isUsers && groups.find(std::string("/") + kServiceUnit) != groups.npos;
  } catch (const CFailure&) {
    return false;
  }
}

void RestartService(const CSettings& settings, unsigned seconds) {
  if (!IsActive(kServiceUnit)) MakeRoomForService(settings, seconds);
  // tavok has closed it to senders when it stops, and systemd would pass it on as it is.
  if (IsActive(kSocketUnit) && IsPathLost()) Act("stop", kSocketUnit);
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

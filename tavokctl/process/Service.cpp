#include "process/Service.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "base/Failure.h"
#include "base/Files.h"
#include "process/Command.h"
#include "process/HandOver.h"

namespace {

// Returns its exit status; throws CFailure if it cannot be run.
int Systemctl(std::vector<std::string> words) {
  words.insert(words.begin(), "systemctl");
  pid_t pid = 0;
  const int failed =
      ::posix_spawnp(&pid, "systemctl", nullptr, nullptr, Arguments(words).data(), ::environ);
  if (failed != 0) throw CFailure("run systemctl", failed);
  int status = 0;
  while (::waitpid(pid, &status, 0) == -1) {
    if (errno != EINTR) throw CFailure("wait for systemctl", errno);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Whether this process is one of the service's, whose unit an operator may have written.
bool IsInTheService() {
  try {
    return ReadText("/proc/self/cgroup").find("/tavok.service") != std::string::npos;
  } catch (const CFailure&) {
    return false;
  }
}

bool IsActive(const char* unit) { return Systemctl({"is-active", "--quiet", unit}) == 0; }

void Act(const std::string& verb, const std::string& unit) {
  const std::string command = "systemctl " + verb + " " + unit;
  std::puts(command.c_str());
  (void)std::fflush(stdout);  // before what systemctl prints
  if (const int status = Systemctl({verb, unit}); status != 0) {
    throw CFailure(command + ": it ended with status " + std::to_string(status));
  }
}

}  // namespace

bool IsServiceOf(const std::string& config) {
  if (IsInTheService()) return false;
  std::error_code missing;
  const bool isItsFile =
      config == TAVOK_CONFIG || std::filesystem::equivalent(config, TAVOK_CONFIG, missing);
  return isItsFile && ::access("/run/systemd/system", F_OK) == 0 &&
         ::access(TAVOK_UNITS "/tavok.service", F_OK) == 0;
}

void RestartService(const std::string& pidFile, unsigned seconds) {
  if (!IsActive("tavok.service")) MakeRoom(pidFile, seconds);
  Act("restart", "tavok.service");
}

void StopService() {
  for (const char* const unit : {"tavok-recover.service", "tavok.socket", "tavok.service"}) {
    Act("stop", unit);
  }
  // If tavok was being started again meanwhile, that has opened it again.
  if (IsActive("tavok.socket")) Act("stop", "tavok.socket");
}

#include "process/Systemd.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <sstream>

#include "base/Descriptor.h"
#include "base/Failure.h"
#include "base/Files.h"
#include "process/Command.h"
#include "process/ProcFiles.h"

namespace {

pid_t Spawn(std::vector<std::string> words, const posix_spawn_file_actions_t* streams) {
  words.insert(words.begin(), "systemctl");
  pid_t pid = 0;
  const auto spawn = [&](const char* program) {
    return ::posix_spawnp(&pid, program, streams, nullptr, Arguments(words).data(), ::environ);
  };
  int failed = spawn("systemctl");
  if (failed == ENOENT) failed = spawn("/usr/bin/systemctl");  // for an odd PATH
  if (failed != 0) throw CFailure("run systemctl", failed);
  return pid;
}

int StatusOf(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) == -1) {
    if (errno != EINTR) throw CFailure("wait for systemctl", errno);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// What it prints to standard output.
std::string OutputOf(const std::vector<std::string>& words) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) == -1) throw CFailure("make a pipe", errno);
  const CDescriptor output(ends[0]);
  CDescriptor input(ends[1]);
  posix_spawn_file_actions_t streams;
  (void)::posix_spawn_file_actions_init(&streams);
  (void)::posix_spawn_file_actions_adddup2(&streams, input.Get(), STDOUT_FILENO);
  (void)::posix_spawn_file_actions_addopen(&streams, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const pid_t pid = Spawn(words, &streams);
  (void)::posix_spawn_file_actions_destroy(&streams);
  input.Close();
  std::string text;
  char block[4096];
  while (const std::size_t count = ReadSome(output, "systemctl", block, sizeof block)) {
    text.append(block, count);
  }
  (void)StatusOf(pid);
  return text;
}

// Its control group, in either hierarchy that systemd may use.
std::string GroupOf(pid_t pid) {
  std::istringstream lines(ReadText(ProcPath(pid, "cgroup")));
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("0::/") || line.find(":name=systemd:/") != std::string::npos) {
      if (!line.ends_with('/')) return line;
    }
  }
  return {};
}

}  // namespace

bool IsSystemdThere() { return ::access("/run/systemd/system", F_OK) == 0; }

int Systemctl(std::vector<std::string> words) { return StatusOf(Spawn(std::move(words), nullptr)); }

std::string UnitProperty(const std::string& unit, const std::string& property) {
  if (!IsSystemdThere()) return {};
  try {
    std::string value = OutputOf({"show", "--value", "--property=" + property, "--", unit});
    while (value.ends_with('\n')) value.pop_back();
    return value;
  } catch (const CFailure&) {
    return {};
  }
}

std::optional<std::string> UnitOf(pid_t pid) {
  try {
    const std::string group = GroupOf(pid);
    std::string unit = group.substr(group.rfind('/') + 1);
    if (!unit.ends_with(".service")) return "";
    if (group.find("/user@") != group.npos) return {};  // of a user's own manager
    // It could be any process of that unit, such as one that a job of cron has left.
    const std::string main = UnitProperty(unit, "MainPID");
    if (main.empty()) return {};
    return main == std::to_string(pid) ? unit : "";
  } catch (const CFailure&) {
    return {};
  }
}

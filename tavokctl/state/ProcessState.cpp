#include "state/ProcessState.h"

#include <unistd.h>

#include <cstdlib>
#include <set>
#include <sstream>

#include "ThreadNames.h"
#include "process/Instance.h"
#include "process/ProcFiles.h"
#include "process/Service.h"
#include "process/Systemd.h"

namespace {

constexpr long kSecond = 1'000'000'000;

// What follows a name at the beginning of a line; empty if there is no such line.
std::string Field(const std::string& text, const std::string& name) {
  const std::size_t at = ("\n" + text).find("\n" + name + "\t");
  if (at == std::string::npos) return {};
  const std::size_t begin = at + name.size() + 1;
  return text.substr(begin, text.find('\n', begin) - begin);
}

std::uint64_t Number(const std::string& text) { return std::strtoull(text.c_str(), nullptr, 10); }

// The start of a process in clock ticks since boot: field 22 of its stat file. Field 2 is a name in
// parentheses, which can contain anything.
std::uint64_t StartTicks(const std::string& stat) {
  std::istringstream fields(stat.substr(stat.rfind(')') + 1));
  std::string field;
  for (int number = 3; number <= 22; ++number) fields >> field;
  return Number(field);
}

long long Nanoseconds(clockid_t clock) {
  timespec now{};
  (void)::clock_gettime(clock, &now);
  return now.tv_sec * static_cast<long long>(kSecond) + now.tv_nsec;
}

timespec TimeOfTicks(std::uint64_t ticks) {
  const long long sinceBoot = static_cast<long long>(ticks) * (kSecond / ::sysconf(_SC_CLK_TCK));
  const long long time = Nanoseconds(CLOCK_REALTIME) - Nanoseconds(CLOCK_BOOTTIME) + sinceBoot;
  return {static_cast<std::time_t>(time / kSecond), static_cast<long>(time % kSecond)};
}

// What the names of its threads tell: nothing for a tavok of an earlier version, which gives none.
void LookAtThreads(int pid, CProcessState& process) {
  const std::string tasks = ProcPath(pid, "task");
  std::set<std::string> names;
  for (const pid_t thread : ProcEntries(tasks)) {
    if (thread != pid) names.insert(CommAt(tasks + "/" + std::to_string(thread)));
  }
  const bool isLosing = names.count(kLosingName) > 0;
  const bool isReceiving = isLosing || names.count(kReceiverName) > 0;
  const bool isNamed = names.count(kWorkerName) > 0 || names.count(kProgramName) == 0;
  if (!isReceiving && !isNamed) return;
  process.isReceiving = isReceiving;
  process.isLosing = isLosing;
}

}  // namespace

CProcessState LookAtProcess(int pid) {
  const std::string status = ReadText(ProcPath(pid, "status"));
  const std::string state = Field(status, "State:");
  CProcessState process{};
  process.pid = pid;
  process.since = TimeOfTicks(StartTicks(ReadText(ProcPath(pid, "stat"))));
  process.memory = Number(Field(status, "VmRSS:")) << 10;
  process.peakMemory = Number(Field(status, "VmHWM:")) << 10;
  process.threads = static_cast<unsigned>(Number(Field(status, "Threads:")));
  LookAtThreads(pid, process);
  process.isSuspended = state.starts_with('T') || state.starts_with('t');
  process.owner = static_cast<uid_t>(Number(Field(status, "Uid:")));
  // systemctl takes longer than all the rest.
  process.unit = IsInTheService(pid) ? kServiceUnit : UnitOf(pid);
  return process;
}

bool IsYounger(const std::string& path, const CProcessState& process) {
  const auto file = Look(path);
  if (!file) return false;
  // The kernel tells the start in ticks, and may have cut it.
  const long long tick = kSecond / ::sysconf(_SC_CLK_TCK);
  const auto of = [](const timespec& time) {
    return time.tv_sec * static_cast<long long>(kSecond) + time.tv_nsec;
  };
  return of(file->changed) > of(process.since) + tick;
}

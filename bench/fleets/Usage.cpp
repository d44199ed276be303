#include <unistd.h>

#include <ctime>
#include <fstream>
#include <iostream>
#include <numeric>

#include "Check.h"
#include "Files.h"
#include "Fleet.h"

namespace {

// The clock of a process counts all its threads, also those that have ended.
long CpuUs(pid_t pid) {
  clockid_t clock;
  timespec time{};
  errno = ::clock_getcpuclockid(pid, &clock);
  Check(errno == 0 && ::clock_gettime(clock, &time) == 0, "processor time of a process");
  return time.tv_sec * 1'000'000 + time.tv_nsec / 1000;
}

// Of the first line of /proc/stat: all time, or all but idle and iowait.
long MachineUs(bool busyOnly) {
  std::ifstream stat("/proc/stat");
  std::string cpu;
  long ticks[8] = {};
  stat >> cpu;
  for (long& state : ticks) stat >> state;
  Check(!stat.fail(), "/proc/stat");
  const long all = std::accumulate(std::begin(ticks), std::end(ticks), 0L);
  return (busyOnly ? all - ticks[3] - ticks[4] : all) * (1'000'000 / ::sysconf(_SC_CLK_TCK));
}

long Kib(const std::string& rollup, const std::string& field) {
  const std::size_t at = rollup.find("\n" + field + ":");
  Check(at != std::string::npos, "memory of a process");
  return std::stol(rollup.substr(at + field.size() + 2));
}

void PrintProcess(pid_t pid) {
  const std::string rollup = ReadFile("/proc/" + std::to_string(pid) + "/smaps_rollup");
  std::cout << CpuUs(pid);
  for (const char* const field : {"Rss", "Pss", "Anonymous"})
    std::cout << ' ' << Kib(rollup, field);
}

}  // namespace

void PrintUsage(const Words& words) {
  std::string kind, host;
  for (pid_t pid = 0; std::cin >> kind >> host >> pid; std::cout << '\n') {
    std::cout << words.at(0) << ' ' << kind << ' ' << host << ' ';
    if (kind == "busy" || kind == "all") {
      std::cout << MachineUs(kind == "busy") << " 0 0 0";
    } else {
      PrintProcess(pid);
    }
  }
}

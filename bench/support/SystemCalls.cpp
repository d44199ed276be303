#include "SystemCalls.h"

#include <fcntl.h>
#include <linux/perf_event.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "Check.h"
#include "Files.h"
#include "Waiting.h"

namespace fs = std::filesystem;

namespace {

constexpr char kStrace[] = "/usr/bin/strace";

std::vector<pid_t> Threads(const std::vector<pid_t>& pids) {
  std::vector<pid_t> threads;
  for (const pid_t pid : pids) {
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
      threads.push_back(std::stoi(entry.path().filename()));
    }
  }
  return threads;
}

// The number of the event "a system call begins"; 0 when it cannot be read.
unsigned long EventNumber() {
  for (const char* const top : {"/sys/kernel/tracing", "/sys/kernel/debug/tracing"}) {
    unsigned long number = 0;
    std::ifstream file(std::string(top) + "/events/raw_syscalls/sys_enter/id");
    if (file >> number) return number;
  }
  return 0;
}

// A counter of one thread's system calls; -1, with errno, when that is not possible.
int OpenCounter(pid_t thread) {
  perf_event_attr event{};
  event.type = PERF_TYPE_TRACEPOINT;
  event.size = sizeof event;
  event.config = EventNumber();
  return static_cast<int>(
      ::syscall(SYS_perf_event_open, &event, thread, -1, -1, PERF_FLAG_FD_CLOEXEC));
}

bool IsTraced(pid_t thread) {
  return ReadFile("/proc/" + std::to_string(thread) + "/status").find("TracerPid:\t0\n") ==
         std::string::npos;
}

}  // namespace

bool SystemCalls::HasKernelEvent() {
  static const bool has = [] {
    const int counter = EventNumber() == 0 ? -1 : OpenCounter(0);
    if (counter != -1) ::close(counter);
    return counter != -1;
  }();
  return has;
}

bool SystemCalls::HasStrace() { return ::access(kStrace, X_OK) == 0; }

SystemCalls::SystemCalls(const std::vector<pid_t>& pids, const std::string& scratch,
                         const std::vector<fs::path>& written)
    : m_scratch(scratch) {
  if (!written.empty() || !HasKernelEvent()) {
    StartStrace(pids, written);
    return;
  }
  for (const pid_t thread : Threads(pids)) {
    m_counters.push_back(OpenCounter(thread));
    Check(m_counters.back() != -1, "perf_event_open");
  }
}

SystemCalls::~SystemCalls() {
  for (const int counter : m_counters) ::close(counter);
}

long SystemCalls::Stop() {
  if (m_strace) {
    m_strace->Stop(SIGINT);
    return ReadStrace();
  }
  long total = 0;
  for (const int counter : m_counters) {
    long count = 0;
    Check(::read(counter, &count, sizeof count) == sizeof count, "counter of system calls");
    total += count;
  }
  return total;
}

void SystemCalls::StartStrace(const std::vector<pid_t>& pids,
                              const std::vector<fs::path>& written) {
  std::vector<std::string> words = {kStrace, "-f", "-c", "-U", "calls,name", "-o", m_scratch};
  for (const pid_t pid : pids) words.insert(words.end(), {"-p", std::to_string(pid)});
  for (const fs::path& file : written) words.insert(words.end(), {"-P", file});
  if (!written.empty()) words.emplace_back("--trace=write,writev,pwrite64,pwritev,pwritev2");
  ProcessSetup setup;
  setup.output = setup.errors = "/dev/null";
  m_strace.emplace(words, setup);
  for (const pid_t thread : Threads(pids)) {
    Check(Eventually([thread] { return IsTraced(thread); }), "strace does not attach");
  }
}

// Its table ends with "<calls> total"; there is none when nothing was called.
long SystemCalls::ReadStrace() const {
  std::ifstream table(m_scratch);
  Check(table.is_open(), "table of strace");
  for (std::string line; std::getline(table, line);) {
    std::istringstream words(line);
    long calls = 0;
    std::string name;
    if (words >> calls >> name && name == "total") return calls;
  }
  return 0;
}

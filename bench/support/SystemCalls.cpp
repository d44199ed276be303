#include "SystemCalls.h"

#include <fcntl.h>
#include <linux/perf_event.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "Check.h"

namespace fs = std::filesystem;

namespace {

std::vector<pid_t> Threads(pid_t pid) {
  std::vector<pid_t> threads;
  for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
    threads.push_back(std::stoi(entry.path().filename()));
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

bool HasKernelEvent() {
  const int counter = EventNumber() == 0 ? -1 : OpenCounter(0);
  if (counter != -1) ::close(counter);
  return counter != -1;
}

bool IsTraced(pid_t thread) {
  std::ifstream status("/proc/" + std::to_string(thread) + "/status");
  for (std::string word; status >> word;) {
    pid_t tracer = 0;
    if (word == "TracerPid:" && status >> tracer) return tracer != 0;
  }
  return false;
}

}  // namespace

SystemCalls::Means SystemCalls::Available() {
  static const Means means = HasKernelEvent()                         ? Means::kKernel
                             : ::access("/usr/bin/strace", X_OK) == 0 ? Means::kStrace
                                                                      : Means::kNone;
  return means;
}

SystemCalls::SystemCalls(pid_t pid, const std::string& scratch) : m_scratch(scratch) {
  if (Available() == Means::kStrace) {
    StartStrace(pid);
    return;
  }
  for (const pid_t thread : Threads(pid)) {
    m_counters.push_back(OpenCounter(thread));
    Check(m_counters.back() != -1, "perf_event_open");
  }
}

SystemCalls::~SystemCalls() {
  if (m_strace != -1) EndStrace();
  for (const int counter : m_counters) ::close(counter);
}

long SystemCalls::Stop() {
  if (m_strace != -1) {
    EndStrace();
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

void SystemCalls::StartStrace(pid_t pid) {
  const std::string target = std::to_string(pid);
  m_strace = ::fork();
  Check(m_strace != -1, "fork");
  if (m_strace == 0) {
    ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);
    ::execl("/usr/bin/strace", "strace", "-f", "-c", "-U", "calls,name", "-o", m_scratch.c_str(),
            "-p", target.c_str(), nullptr);
    ::_exit(127);
  }
  for (const pid_t thread : Threads(pid)) {
    for (int i = 0; i < 5000 && !IsTraced(thread); ++i) ::usleep(1000);
    Check(IsTraced(thread), "strace does not attach");
  }
}

void SystemCalls::EndStrace() noexcept {
  ::kill(m_strace, SIGINT);
  ::waitpid(std::exchange(m_strace, -1), nullptr, 0);
}

// Its table ends with "<calls> total".
long SystemCalls::ReadStrace() const {
  std::ifstream table(m_scratch);
  for (std::string line; std::getline(table, line);) {
    std::istringstream words(line);
    long calls = 0;
    std::string name;
    if (words >> calls >> name && name == "total") return calls;
  }
  throw std::runtime_error("strace has counted nothing");
}

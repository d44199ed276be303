#include "Running.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "Check.h"
#include "Sockets.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

constexpr unsigned kStartLimitMs = 10000;

void Redirect(const fs::path& path, int fd) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  ::dup2(file, fd);
  ::close(file);
}

double MsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

}  // namespace

void UseProcessors(Processors share) {
  cpu_set_t set;
  Check(::sched_getaffinity(0, sizeof set, &set) == 0, "sched_getaffinity");
  if (CPU_COUNT(&set) < 2) return;
  std::size_t last = CPU_SETSIZE - 1;
  while (!CPU_ISSET(last, &set)) --last;
  if (share == Processors::kSender) {
    CPU_ZERO(&set);
    CPU_SET(last, &set);
  } else {
    CPU_CLR(last, &set);
  }
  Check(::sched_setaffinity(0, sizeof set, &set) == 0, "sched_setaffinity");
}

Running::Running(const Subject& subject, bool udp) {
  const char* const top = std::getenv("TMPDIR");
  std::string path = std::string(top == nullptr ? "/tmp" : top) + "/tavok-bench-XXXXXX";
  Check(::mkdtemp(path.data()) != nullptr, path);
  m_place = {path, udp, FreePort()};
  try {
    fs::create_directory(m_place.LogDirectory());
    Start(subject);
  } catch (...) {
    End();
    throw;
  }
}

Running::~Running() { End(); }

std::vector<fs::path> Running::LogFiles() const {
  const fs::directory_iterator files(m_place.LogDirectory());
  return {begin(files), end(files)};
}

std::uintmax_t Running::LoggedBytes() const {
  std::uintmax_t bytes = 0;
  for (const fs::path& file : LogFiles()) {
    std::error_code moved;
    const std::uintmax_t size = fs::file_size(file, moved);
    if (!moved) bytes += size;
  }
  return bytes;
}

double Running::CpuSeconds() const {
  clockid_t clock;
  timespec time{};
  errno = ::clock_getcpuclockid(m_pid, &clock);
  Check(errno == 0 && ::clock_gettime(clock, &time) == 0, "CPU time of a subject");
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double Running::PeakMb() const {
  std::ifstream status("/proc/" + std::to_string(m_pid) + "/status");
  for (std::string word; status >> word;) {
    double kb = 0;
    if (word == "VmHWM:" && status >> kb) return kb / 1024;
  }
  throw std::runtime_error("memory of a subject cannot be read");
}

void Running::Start(const Subject& subject) {
  std::vector<std::string> words = CommandLine(subject, m_place);
  if (subject.IsTavok()) {
    m_semaphore = ::semget(IPC_PRIVATE, 1, 0600);
    Check(m_semaphore != -1, "semget");
    words.insert(words.end(), {"-s", std::to_string(m_semaphore)});
  }
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  const auto begin = Clock::now();
  m_pid = ::fork();
  Check(m_pid != -1, "fork");
  if (m_pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    Redirect(LogsToStandardOutput(subject) ? m_place.Log() : "/dev/null", STDOUT_FILENO);
    Redirect(m_place.directory / "said", STDERR_FILENO);
    if (m_place.udp) UseProcessors(Processors::kSubject);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
  }
  subject.IsTavok() ? AwaitSemaphore() : AwaitSocket();
  m_startMs = MsSince(begin);
}

void Running::AwaitSemaphore() {
  sembuf take{0, -1, 0};
  const timespec slice{0, 100'000'000};
  for (unsigned waited = 0; ::semtimedop(m_semaphore, &take, 1, &slice) != 0; waited += 100) {
    Check(errno == EAGAIN || errno == EINTR, "semtimedop");
    RequireAlive();
    if (waited >= kStartLimitMs) throw std::runtime_error("tavok does not come up");
  }
}

void Running::AwaitSocket() {
  for (unsigned waited = 0; !IsListening(m_place.Listening()); ++waited) {
    RequireAlive();
    if (waited >= kStartLimitMs) throw std::runtime_error("a subject does not come up");
    ::usleep(1000);
  }
}

void Running::RequireAlive() {
  if (::waitpid(m_pid, nullptr, WNOHANG) != m_pid) return;
  m_pid = -1;
  std::ostringstream said;
  said << std::ifstream(m_place.directory / "said").rdbuf();
  throw std::runtime_error("a subject has ended: " + said.str());
}

// By force: what was written stays, and an orderly stop takes some subjects seconds.
void Running::End() {
  if (m_pid > 0) {
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
  }
  if (m_semaphore != -1) ::semctl(m_semaphore, 0, IPC_RMID);
  std::error_code ignored;
  fs::remove_all(m_place.directory, ignored);
}

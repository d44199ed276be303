#include "Running.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "Check.h"
#include "Waiting.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

constexpr char kJournalSocket[] = "/run/systemd/journal/dev-log";
constexpr char kJournalDirectory[] = "/var/log/journal";

std::string Top() {
  const char* const top = std::getenv("TMPDIR");
  return top == nullptr ? "/tmp" : top;
}

Place PlaceOf(const Subject& subject, const fs::path& directory, bool udp) {
  if (subject.IsJournal()) return {directory, false, kJournalSocket};
  return {directory, udp, udp ? std::to_string(FreePort()) : (directory / "socket").string()};
}

// With one processor only, everybody has that.
void UseProcessors(bool last) {
  cpu_set_t set;
  bool ok = ::sched_getaffinity(0, sizeof set, &set) == 0;
  if (ok && CPU_COUNT(&set) > 1) {
    std::size_t highest = CPU_SETSIZE - 1;
    while (!CPU_ISSET(highest, &set)) --highest;
    if (last) CPU_ZERO(&set);
    last ? CPU_SET(highest, &set) : CPU_CLR(highest, &set);
    ok = ::sched_setaffinity(0, sizeof set, &set) == 0;
  }
  if (!ok) ::_exit(127);
}

void MakeNamedPipe(const fs::path& path) { Check(::mkfifo(path.c_str(), 0600) == 0, path); }

constexpr char kActivated[] = "env LISTEN_PID=$$ LISTEN_FDS=1";

// The words that run a program with the shell, which becomes the program: a command of the shell
// that runs it comes before it, and a redirection after it.
std::vector<std::string> Become(const std::vector<std::string>& words, const std::string& before,
                                const std::string& after) {
  std::string line = "exec " + before;
  for (const std::string& word : words) line.append(" ").append(word);
  return ShellWords(line + after);
}

// What a command of the shell prints.
std::string OutputOf(const std::string& command, const TempDir& scratch) {
  const std::string printed = scratch / "printed";
  Process(ShellWords(command + " >" + printed)).Exit();
  return ReadFile(printed);
}

// Whether somebody has bound the destination.
bool IsListening(const Destination& to) {
  if (IsPort(to)) {
    char addresses[32];  // local port, and no peer
    (void)std::snprintf(addresses, sizeof addresses, ":%04lX 00000000:0000 ", std::stoul(to));
    return ReadFile("/proc/net/udp").find(addresses) != std::string::npos;
  }
  const int fd = TryConnectedSocket(to);
  if (fd != -1) ::close(fd);
  return fd != -1;
}

// A log writer keeps other files beside its logs.
bool IsLog(const fs::path& path) {
  const std::string name = path.filename();
  return name == "tmp.tavok" || name == "current" || name.starts_with("tavok_") ||
         name.starts_with("@") || path.extension() == ".journal";
}

}  // namespace

void UseSenderProcessor() { UseProcessors(true); }
void UseSubjectProcessors() { UseProcessors(false); }

Running::Running(const Subject& subject, bool udp, bool held)
    : m_subject(subject), m_directory(Top()), m_place(PlaceOf(subject, m_directory.Path(), udp)) {
  fs::create_directory(m_place.LogDirectory());
  if (held && !subject.IsJournal()) m_held = BoundSocket(m_place.listening);
  const auto begin = Clock::now();
  Start();
  m_startMs = SecondsSince(begin) * 1000;
}

void Running::Start() {
  if (m_subject.IsTavok()) {
    StartTavok();
  } else {
    StartStages();
    AwaitReceiver();
  }
  if (!m_subject.IsJournal()) return;
  m_pids = {std::stoi(
      OutputOf("systemctl show --value --property=MainPID systemd-journald", m_directory))};
}

void Running::Again(int signal) {
  if (m_subject.IsJournal()) {
    const std::string how = signal == SIGKILL ? "kill --signal=KILL" : "restart";
    // reset-failed, since systemd limits how often it starts it.
    OutputOf("systemctl reset-failed systemd-journald; systemctl " + how +
                 " systemd-journald; sleep 0.2",
             m_directory);
  } else {
    for (const pid_t pid : m_pids) ::kill(pid, signal);
    AwaitEnd();
  }
  m_tavok.reset();
  m_stages.clear();
  m_pids.clear();
  for (const char* const left : {"pid", "pipe"}) fs::remove(m_directory / left);
  if (m_held == -1 && !m_subject.IsJournal()) fs::remove(m_place.listening);
  Start();
}

Running::~Running() {
  if (m_feed != -1) ::close(m_feed);
  if (m_held != -1) ::close(m_held);
  if (!m_subject.IsJournal()) return;
  try {
    OutputOf("journalctl --quiet --rotate --vacuum-size=1K 2>&1", m_directory);
  } catch (const std::exception&) {
    // The journal stays as it is.
  }
}

void Running::StartTavok() {
  TavokSetup setup;
  setup.program = m_subject.stages.front().program;
  setup.passed = m_held;
  if (m_held != -1) setup.prefix = kActivated;
  if (m_place.udp) {
    setup.settings = "Port=" + m_place.listening + "\n";
    setup.beforeExec = UseSubjectProcessors;
  }
  m_tavok.emplace(m_directory.Path(), setup);
  m_pids = {m_tavok->Id()};
  if (!m_tavok->IsUp()) throw std::runtime_error("tavok does not come up: " + m_tavok->Output());
}

// A named pipe joins two programs, or is what senders write into.
void Running::StartStages() {
  std::string in = m_subject.IsFed() ? m_place.listening : "";
  if (!in.empty()) MakeNamedPipe(in);
  for (const Subject::Stage& stage : m_subject.stages) {
    ProcessSetup setup{m_directory.Path(), Said(), Said()};
    if (m_place.udp) setup.beforeExec = UseSubjectProcessors;
    if (m_subject.LogsToStandardOutput()) setup.output = m_place.Log();
    const bool last = &stage == &m_subject.stages.back();
    if (!last) MakeNamedPipe(setup.output = m_directory / "pipe");
    setup.passed = m_held;
    std::vector<std::string> words = m_subject.Command(stage, m_place);
    if (m_held != -1) words = Become(words, kActivated, "");
    if (!in.empty()) words = Become(words, "", " <" + in);
    m_pids.push_back(m_stages.emplace_back(words, setup).Id());
    in = setup.output;
  }
}

void Running::AwaitReceiver() {
  const auto limit = Clock::now() + std::chrono::seconds(40);
  const auto isUp = [&] {
    if (!m_subject.IsFed()) return IsListening(m_place.listening);
    m_feed = ::open(m_place.listening.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    return m_feed != -1;
  };
  while (!isUp()) {
    if (Clock::now() > limit || std::ranges::any_of(m_stages, &Process::HasEnded)) {
      throw std::runtime_error(m_subject.name + " does not come up: " + ReadFile(Said()));
    }
    ::usleep(200);
  }
  if (m_feed != -1) Check(::fcntl(m_feed, F_SETFL, 0) == 0, "fcntl");
}

int Running::Connected() const {
  return m_feed == -1 ? ConnectedSocket(m_place.listening) : ::dup(m_feed);
}

void Running::Rotate() {
  if (m_subject.rotation == SIGHUP && !m_subject.IsTavok()) {
    m_moved += "@";
    fs::rename(m_place.Log(), m_place.LogDirectory() / m_moved);
  }
  ::kill(m_pids.back(), m_subject.rotation);
}

void Running::Kill() const {
  for (const pid_t pid : m_pids) ::kill(pid, SIGKILL);
}

void Running::AwaitEnd() const {
  for (const pid_t pid : m_pids) {
    (void)Eventually([pid] {
      const std::string directory = "/proc/" + std::to_string(pid);
      return !fs::exists(directory) || IsInState(directory, "Z");
    });
  }
}

std::vector<fs::path> Running::LogFiles() const {
  std::vector<fs::path> files;
  const fs::path top = m_subject.IsJournal() ? kJournalDirectory : m_place.LogDirectory();
  for (const auto& entry : fs::recursive_directory_iterator(top)) {
    if (IsLog(entry.path())) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

std::uintmax_t Running::StoredBytes() const {
  std::uintmax_t bytes = 0;
  for (const fs::path& file : LogFiles()) {
    std::error_code moved;
    const std::uintmax_t size = fs::file_size(file, moved);
    if (!moved) bytes += size;
  }
  return bytes;
}

std::string Running::Logged() const {
  if (m_subject.IsJournal()) {
    OutputOf("journalctl --sync", m_directory);
    return OutputOf("journalctl --quiet --all --output=cat _TRANSPORT=syslog", m_directory);
  }
  std::string text;
  for (const fs::path& file : LogFiles()) text += ReadFile(file);
  return text;
}

double Running::CpuSeconds() const {
  double seconds = 0;
  for (const pid_t pid : m_pids) {
    clockid_t clock;
    timespec time{};
    errno = ::clock_getcpuclockid(pid, &clock);
    Check(errno == 0 && ::clock_gettime(clock, &time) == 0, "CPU time of a subject");
    seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  }
  return seconds;
}

double Running::MemoryMb(const std::string& field) const {
  double sum = 0;
  for (const pid_t pid : m_pids) {
    const std::string status = ReadFile("/proc/" + std::to_string(pid) + "/status");
    const std::size_t at = status.find("\n" + field + ":");
    if (at == std::string::npos) throw std::runtime_error("memory of a subject cannot be read");
    sum += std::stod(status.substr(at + field.size() + 2)) / 1024;  // from kB
  }
  return sum;
}

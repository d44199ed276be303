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

void UseSubjectsProcessors() {
  if (!UseProcessors(Processors::kSubject)) ::_exit(127);
}

void MakeNamedPipe(const fs::path& path) { Check(::mkfifo(path.c_str(), 0600) == 0, path); }

// The words that run a program with these for standard input and output: with the shell, unless
// both are empty. The shell becomes the program.
std::vector<std::string> Redirected(const std::vector<std::string>& words, const std::string& in,
                                    const std::string& out) {
  if (in.empty() && out.empty()) return words;
  std::string line = "exec";
  for (const std::string& word : words) line.append(" ").append(word);
  if (!in.empty()) line.append(" <").append(in);
  if (!out.empty()) line.append(" >").append(out);
  return ShellWords(line);
}

// What a command of the shell prints.
std::string OutputOf(const std::string& command, const TempDir& scratch) {
  ProcessSetup setup;
  setup.output = scratch / "printed";
  std::filesystem::remove(setup.output);
  Process(ShellWords(command), setup).Exit();
  return ReadFile(setup.output);
}

// A log writer keeps other files beside its logs.
bool IsLog(const fs::path& path) {
  const std::string name = path.filename();
  return name == "tmp.tavok" || name == "current" || name.starts_with("tavok_") ||
         name.starts_with("@") || path.extension() == ".journal";
}

}  // namespace

bool UseProcessors(Processors share) {
  cpu_set_t set;
  if (::sched_getaffinity(0, sizeof set, &set) != 0) return false;
  if (CPU_COUNT(&set) < 2) return true;
  std::size_t last = CPU_SETSIZE - 1;
  while (!CPU_ISSET(last, &set)) --last;
  if (share == Processors::kSender) {
    CPU_ZERO(&set);
    CPU_SET(last, &set);
  } else {
    CPU_CLR(last, &set);
  }
  return ::sched_setaffinity(0, sizeof set, &set) == 0;
}

Running::Running(const Subject& subject, bool udp)
    : m_subject(subject), m_directory(Top()), m_place(PlaceOf(subject, m_directory.Path(), udp)) {
  fs::create_directory(m_place.LogDirectory());
  const auto begin = Clock::now();
  if (subject.IsTavok()) {
    StartTavok();
  } else {
    StartStages();
    AwaitReceiver();
  }
  m_startMs = SecondsSince(begin) * 1000;
  if (subject.IsJournal()) {
    m_pids = {std::stoi(
        OutputOf("systemctl show --value --property=MainPID systemd-journald", m_directory))};
  }
}

Running::~Running() {
  if (m_feed != -1) ::close(m_feed);
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
  if (m_place.udp) {
    setup.settings = "Port=" + m_place.listening + "\n";
    setup.beforeExec = UseSubjectsProcessors;
  }
  m_tavok.emplace(m_directory.Path(), setup);
  m_pids = {m_tavok->Id()};
  if (!m_tavok->IsUp()) throw std::runtime_error("tavok does not come up: " + m_tavok->Output());
}

// A named pipe joins two programs, or is what senders write into.
void Running::StartStages() {
  const fs::path said = m_directory / "said";
  ProcessSetup setup{m_directory.Path(), said, said, nullptr};
  if (m_place.udp) setup.beforeExec = UseSubjectsProcessors;
  if (m_subject.LogsToStandardOutput()) setup.output = m_place.Log();
  std::string in = m_subject.IsFed() ? m_place.listening : "";
  if (!in.empty()) MakeNamedPipe(in);
  for (const Subject::Stage& stage : m_subject.stages) {
    std::vector<std::string> words = stage.arguments(m_place);
    words.insert(words.begin(), stage.program);
    const bool last = &stage == &m_subject.stages.back();
    const std::string out = last ? "" : m_directory / "pipe";
    if (!last) MakeNamedPipe(out);
    m_pids.push_back(m_stages.emplace_back(Redirected(words, in, out), setup).Id());
    in = out;
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
      throw std::runtime_error(m_subject.name +
                               " does not come up: " + ReadFile(m_directory / "said"));
    }
    ::usleep(200);
  }
  if (m_feed != -1) Check(::fcntl(m_feed, F_SETFL, 0) == 0, "fcntl");
}

int Running::Connected() const {
  if (m_feed == -1) return ConnectedSocket(m_place.listening);
  const int fd = ::fcntl(m_feed, F_DUPFD_CLOEXEC, 0);
  Check(fd != -1, "dup");
  return fd;
}

void Running::Rotate() {
  switch (m_subject.rotation) {
    case Subject::Rotation::kNever:
      break;
    case Subject::Rotation::kRename:
      m_moved += "@";
      fs::rename(m_place.Log(), m_place.LogDirectory() / m_moved);
      [[fallthrough]];
    case Subject::Rotation::kHangUp:
      ::kill(m_pids.front(), SIGHUP);
      break;
    case Subject::Rotation::kAlarm:
      ::kill(m_pids.back(), SIGALRM);
      break;
    case Subject::Rotation::kJournal:
      OutputOf("journalctl --quiet --rotate", m_directory);
  }
}

void Running::Kill() const {
  for (const pid_t pid : m_pids) ::kill(pid, SIGKILL);
}

void Running::AwaitEnd() const {
  for (const pid_t pid : m_pids) {
    (void)Eventually([pid] {
      const std::string stat = ReadFile("/proc/" + std::to_string(pid) + "/stat");
      return stat.empty() || stat.find(") Z ") != std::string::npos;
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

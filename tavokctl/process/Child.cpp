#include "process/Child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>

#include "base/Failure.h"
#include "base/Stopwatch.h"
#include "process/Command.h"

namespace {

constexpr int kPollMs = 2;
constexpr double kEndSeconds = 15;  // an orderly stop takes up to twelve or so

// How tavok is spawned: in a new session, with no signal blocked and the signals that end us not
// ignored; standard error goes to `error`, the other two streams to /dev/null.
class CSpawnSetup {
 public:
  explicit CSpawnSetup(const CDescriptor& error) {
    (void)::posix_spawnattr_init(&m_attributes);
    (void)::posix_spawn_file_actions_init(&m_files);
    SetSignals();
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO}) {
      (void)::posix_spawn_file_actions_addopen(&m_files, fd, "/dev/null", O_RDWR, 0);
    }
    (void)::posix_spawn_file_actions_adddup2(&m_files, error.Get(), STDERR_FILENO);
    // tavok must not keep inherited descriptors open, such as the lock of a calling script.
    (void)::posix_spawn_file_actions_addclosefrom_np(&m_files, STDERR_FILENO + 1);
  }
  CSpawnSetup(const CSpawnSetup&) = delete;
  CSpawnSetup& operator=(const CSpawnSetup&) = delete;
  ~CSpawnSetup() {
    (void)::posix_spawn_file_actions_destroy(&m_files);
    (void)::posix_spawnattr_destroy(&m_attributes);
  }

  const posix_spawnattr_t* Attributes() const { return &m_attributes; }
  const posix_spawn_file_actions_t* Files() const { return &m_files; }

 private:
  void SetSignals() {
    sigset_t none, ours;
    ::sigemptyset(&none);
    ::sigemptyset(&ours);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) ::sigaddset(&ours, signal);
    (void)::posix_spawnattr_setsigmask(&m_attributes, &none);
    (void)::posix_spawnattr_setsigdefault(&m_attributes, &ours);
    (void)::posix_spawnattr_setflags(
        &m_attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }

  posix_spawnattr_t m_attributes;
  posix_spawn_file_actions_t m_files;
};

pid_t Spawn(const std::string& program, std::vector<std::string> words, const CDescriptor& error) {
  const CSpawnSetup setup(error);
  pid_t pid = 0;
  const int failed = ::posix_spawn(&pid, program.c_str(), setup.Files(), setup.Attributes(),
                                   Arguments(words).data(), ::environ);
  if (failed != 0) throw CFailure("run " + program, failed);
  return pid;
}

}  // namespace

CChild::CChild(const std::string& program, const std::vector<std::string>& words) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) == -1) throw CFailure("make a pipe", errno);
  m_output = CDescriptor(ends[0]);
  m_pid = Spawn(program, words, CDescriptor(ends[1]));
}

bool CChild::Listen() {
  pollfd entry{m_output.Get(), POLLIN, 0};
  if (::poll(&entry, 1, kPollMs) != 1) return false;
  char block[4096];
  const ssize_t count = ::read(m_output.Get(), block, sizeof block);
  if (count > 0) m_said.append(block, static_cast<std::size_t>(count));
  if (count == 0) ::usleep(kPollMs * 1000);  // closed: poll would return at once
  return count > 0;
}

bool CChild::HasEnded(int& status) const { return ::waitpid(m_pid, &status, WNOHANG) == m_pid; }

void CChild::End() {
  int status = 0;
  (void)::kill(m_pid, SIGTERM);
  for (const CStopwatch watch; watch.Seconds() < kEndSeconds; (void)Listen()) {
    if (HasEnded(status)) return;
  }
  (void)::kill(m_pid, SIGKILL);
  (void)::waitpid(m_pid, &status, 0);
}

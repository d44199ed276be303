#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "Check.h"
#include "Files.h"
#include "Waiting.h"

// How a process is started.
struct ProcessSetup {
  std::string directory = ".";
  // Files that standard output and standard error are appended to; empty: those of the caller.
  std::string output, errors;
  // A descriptor that the process gets as its descriptor 3; -1: none.
  int passed = -1;
  // Called in the new process just before its program starts. It must take no lock and allocate
  // nothing, since another thread may have held a lock at the fork.
  void (*beforeExec)() = nullptr;
};

// Whether the process or thread that has this directory of /proc is in a state: S is asleep, T is
// stopped, Z has ended.
inline bool IsInState(const std::string& directory, const std::string& state) {
  return ReadFile(directory + "/stat").find(") " + state + " ") != std::string::npos;
}

// A process in a session of its own. It is killed when the object goes, or when the thread that
// made the object ends.
class Process {
 public:
  // `words` are the path of a program and its arguments. Throws std::runtime_error if no process
  // can be made; if the program cannot be run, the process exits with status 127.
  explicit Process(std::vector<std::string> words, const ProcessSetup& setup = {}) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    m_pid = ::fork();
    Check(m_pid != -1, "fork");
    if (m_pid == 0) Run(arguments.data(), setup);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() {
    if (m_pid != 0) Stop(SIGKILL);
  }

  // 0 once Exit has returned.
  pid_t Id() const { return m_pid; }
  std::string Pid() const { return std::to_string(m_pid); }
  std::string Proc() const { return "/proc/" + Pid(); }
  bool HasEnded() const {
    siginfo_t info{};
    const int options = WEXITED | WNOHANG | WNOWAIT;
    return ::waitid(P_PID, static_cast<id_t>(m_pid), &info, options) == 0 && info.si_pid != 0;
  }
  void Signal(int signal) const { ::kill(m_pid, signal); }
  // Whether a signal that it handles on its first thread is pending, or its handler runs.
  bool HasPending(int signal) const {
    const std::string status = ReadFile(Proc() + "/status");
    const auto mask = [&](const char* field) {
      return std::stoull(status.substr(status.find(field) + 7, 17), nullptr, 16);
    };
    return ((mask("ShdPnd:") | mask("SigBlk:")) >> (signal - 1) & 1) != 0;
  }
  // Stops it, for SIGCONT to go on.
  void Pause() const {
    Signal(SIGSTOP);
    Check(Eventually([this] { return IsInState(Proc(), "T"); }), "SIGSTOP");
  }

  // Waits for the end. Returns the exit status, or 128 and the signal that ended the process. May
  // be called once only.
  int Exit() {
    int status = 0;
    while (::waitpid(m_pid, &status, 0) == -1 && errno == EINTR) {
      // Such as libFuzzer's alarm, every 16 seconds.
    }
    m_pid = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  // The same after a signal.
  int Stop(int signal = SIGTERM) {
    Signal(signal);
    return Exit();
  }

 private:
  // These are called between fork and exec: see ProcessSetup::beforeExec for what is allowed there.
  [[noreturn]] static void Run(char* const* arguments, const ProcessSetup& setup) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::setsid();
    if (::chdir(setup.directory.c_str()) != 0) ::_exit(127);
    Redirect(STDOUT_FILENO, setup.output);
    Redirect(STDERR_FILENO, setup.errors);
    // That of the same number would stay close-on-exec.
    if (setup.passed == 3 && ::fcntl(3, F_SETFD, 0) == -1) ::_exit(127);
    if (setup.passed != -1 && ::dup2(setup.passed, 3) == -1) ::_exit(127);
    if (setup.beforeExec != nullptr) setup.beforeExec();
    ::execv(arguments[0], arguments);
    ::_exit(127);
  }
  static void Redirect(int descriptor, const std::string& path) {
    if (path.empty()) return;
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (file == -1 || ::dup2(file, descriptor) == -1) ::_exit(127);
  }

  pid_t m_pid;
};

// The words that run a command line with the shell, whose $0 is `zero`.
inline std::vector<std::string> ShellWords(const std::string& line,
                                           const std::string& zero = "sh") {
  return {"/bin/sh", "-c", line, zero};
}

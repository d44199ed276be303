#include "Process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utility>

#include "Check.h"

namespace {

// Called between fork and exec: see ProcessSetup::beforeExec for what is allowed there.
void Redirect(int descriptor, const std::string& path) {
  if (path.empty()) return;
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (file == -1 || ::dup2(file, descriptor) == -1) ::_exit(127);
}

[[noreturn]] void Run(char* const* arguments, const ProcessSetup& setup) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::setsid();
  if (::chdir(setup.directory.c_str()) != 0) ::_exit(127);
  Redirect(STDOUT_FILENO, setup.output);
  Redirect(STDERR_FILENO, setup.errors);
  if (setup.beforeExec != nullptr) setup.beforeExec();
  ::execv(arguments[0], arguments);
  ::_exit(127);
}

}  // namespace

Process::Process(std::vector<std::string> words, const ProcessSetup& setup) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  m_pid = ::fork();
  Check(m_pid != -1, "fork");
  if (m_pid == 0) Run(arguments.data(), setup);
}

Process::~Process() {
  if (m_pid != 0) Stop(SIGKILL);
}

bool Process::HasEnded() const {
  siginfo_t info{};
  const int options = WEXITED | WNOHANG | WNOWAIT;
  return ::waitid(P_PID, static_cast<id_t>(m_pid), &info, options) == 0 && info.si_pid != 0;
}

int Process::Exit() {
  int status = 0;
  ::waitpid(std::exchange(m_pid, 0), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int Process::Stop(int signal) {
  Signal(signal);
  return Exit();
}

std::vector<std::string> ShellWords(const std::string& line) { return {"/bin/sh", "-c", line}; }

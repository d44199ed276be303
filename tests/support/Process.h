#pragma once

#include <signal.h>
#include <sys/types.h>

#include <string>
#include <vector>

// How a process is started.
struct ProcessSetup {
  std::string directory = ".";
  // Files that standard output and standard error are appended to; empty: those of the caller.
  std::string output, errors;
  // Called in the new process just before its program starts. It must take no lock and allocate
  // nothing, since another thread may have held a lock at the fork.
  void (*beforeExec)() = nullptr;
};

// A process in a session of its own. It is killed when the object goes, or when the thread that
// made the object ends.
class Process {
 public:
  // `words` are the path of a program and its arguments. Throws std::runtime_error if no process
  // can be made; if the program cannot be run, the process exits with status 127.
  explicit Process(std::vector<std::string> words, const ProcessSetup& setup = {});
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  // 0 once Exit has returned.
  pid_t Id() const { return m_pid; }
  std::string Pid() const { return std::to_string(m_pid); }
  bool HasEnded() const;
  void Signal(int signal) const { ::kill(m_pid, signal); }

  // Waits for the end. Returns the exit status, or 128 and the signal that ended the process. May
  // be called once only.
  int Exit();
  // The same after a signal.
  int Stop(int signal = SIGTERM);

 private:
  pid_t m_pid;
};

// The words that run a command line with the shell.
std::vector<std::string> ShellWords(const std::string& line);

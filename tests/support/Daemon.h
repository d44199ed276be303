#pragma once

#include <signal.h>
#include <sys/sem.h>
#include <sys/wait.h>

#include "Support.h"

// The built daemon, run in the directory `dir`, in a session and with a semaphore set of its own.
class Daemon {
 public:
  // `settings` are lines that come after the usual ones, and override them; `arguments` are words
  // of the shell, and so is `prefix`, a command that runs tavok.
  explicit Daemon(const TempDir& dir, const std::string& settings = "",
                  const std::string& arguments = "", const std::string& prefix = "")
      : m_output(dir / "output"), m_semaphore(::semget(IPC_PRIVATE, 1, 0600)) {
    WriteFile(dir / "conf", "[LogServer]\nDirName=" + (dir / "log") + "\nPidFileName=" +
                                (dir / "pid") + "\nPort=" + (dir / "socket") + "\n" + settings);
    const std::string command = "PATH=" TAVOK_DIRECTORY ":$PATH; cd " + (dir / "") +
                                "; exec >>output 2>&1 setsid " + prefix + " tavok -c conf -s " +
                                std::to_string(m_semaphore) + " " + arguments;
    if ((m_pid = ::fork()) != 0) return;
    // Nothing that takes a lock: another thread may have had it at the fork.
    ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    ::_exit(127);
  }
  // One that still runs is asked to stop, and must do so in order.
  ~Daemon() {
    EXPECT_TRUE(m_pid == 0 || Stop() == 0) << Output();
    ::semctl(m_semaphore, 0, IPC_RMID);
  }

  int Semaphore() const { return ::semctl(m_semaphore, 0, GETVAL); }
  bool HasEnded() const {
    siginfo_t info{};
    return ::waitid(P_PID, id_t(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid != 0;
  }
  bool IsUp() const {
    return Eventually([this] { return Semaphore() == 1 || HasEnded(); }) && Semaphore() == 1;
  }
  void Signal(int signal) const { ::kill(m_pid, signal); }
  // Waits for the end. Returns the exit status, or 128 and the signal that ended it.
  int Exit() {
    int status = 0;
    ::waitpid(std::exchange(m_pid, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  // The status of a process that has been asked to end.
  int Stop(int signal = SIGTERM) {
    Signal(signal);
    return Exit();
  }
  std::string Pid() const { return std::to_string(m_pid); }
  std::string Output() const { return ReadFile(m_output); }
  bool Says(const std::string& text) const {
    return Eventually([&] { return Output().find(text) != text.npos; });
  }

 private:
  const std::string m_output;
  const int m_semaphore;
  pid_t m_pid;
};

// A socket that sends datagrams to a path, and waits for room there.
class Sender {
 public:
  explicit Sender(const std::string& path) : m_fd(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
    const sockaddr_un to = UnixAddress(path);
    EXPECT_EQ(0, ::connect(m_fd, reinterpret_cast<const sockaddr*>(&to), sizeof to)) << path;
  }
  ~Sender() { ::close(m_fd); }
  void Send(const std::string& text) const {
    EXPECT_EQ(ssize_t(text.size()), ::send(m_fd, text.data(), text.size(), 0));
  }

 private:
  const int m_fd;
};

// The names of the log files, oldest first.
inline std::set<std::string> LogFiles(const TempDir& dir) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir / "log")) {
    names.insert(entry.path().filename());
  }
  return names;
}

// All text that has been logged, in order.
inline std::string Logged(const TempDir& dir) {
  std::string text;
  for (const std::string& name : LogFiles(dir)) text += ReadFile(dir / ("log/" + name));
  return text;
}

#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/sem.h>
#include <sys/wait.h>

#include "Numbered.h"
#include "Support.h"

// The built daemon, run in the directory `dir`, in a session and with a semaphore set of its own.
class Daemon {
 public:
  // `settings` are lines that come after the usual ones, and override them.
  explicit Daemon(const TempDir& dir, const std::string& settings = "",
                  std::vector<std::string> arguments = {})
      : m_dir(dir), m_semaphore(::semget(IPC_PRIVATE, 1, 0600)) {
    WriteFile(dir / "conf", "[LogServer]\nDirName=" + (dir / "log") + "\nPidFileName=" +
                                (dir / "pid") + "\nPort=" + (dir / "socket") + "\n" + settings);
    arguments.insert(arguments.begin(),
                     {"tavok", "-c", dir / "conf", "-s", std::to_string(m_semaphore)});
    m_pid = ::fork();
    if (m_pid == 0) Exec(arguments);
  }
  // One that still runs is asked to stop, and must do so in order.
  ~Daemon() {
    EXPECT_TRUE(m_pid == 0 || (::kill(m_pid, SIGTERM) == 0 && Exit() == 0)) << Output();
    ::semctl(m_semaphore, 0, IPC_RMID);
  }

  int Semaphore() const { return ::semctl(m_semaphore, 0, GETVAL); }
  bool IsUp() const {
    return Eventually([this] { return Semaphore() == 1; });
  }
  void Signal(int signal) const { ::kill(m_pid, signal); }
  // Waits for the end. Returns the exit status, or 128 and the signal that ended it.
  int Exit() {
    int status = 0;
    ::waitpid(std::exchange(m_pid, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  std::string Pid() const { return std::to_string(m_pid); }
  std::string Output() const { return ReadFile(m_dir / "output"); }
  bool Says(const std::string& text) const {
    return Eventually([&] { return Output().find(text) != text.npos; });
  }

 private:
  [[noreturn]] void Exec(const std::vector<std::string>& arguments) const {
    ::setsid();
    const int output = ::open((m_dir / "output").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(output, 1), ::dup2(output, 2), ::close(output);
    std::vector<char*> argv;
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    if (arguments.back() == "(closed)") ::close(0), ::close(1), ::close(2);
    argv.push_back(nullptr);
    if (::chdir((m_dir / "").c_str()) == 0) ::execv(TAVOK_BINARY, argv.data());
    ::_exit(127);
  }

  const TempDir& m_dir;
  const int m_semaphore;
  pid_t m_pid;
};

// A socket that sends datagrams to a Unix-domain path (waiting for room), or to a UDP port.
class Sender {
 public:
  explicit Sender(const std::string& path) : m_fd(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un to{AF_UNIX, {}};
    std::strcpy(to.sun_path, path.c_str());
    EXPECT_EQ(0, ::connect(m_fd, reinterpret_cast<sockaddr*>(&to), sizeof to)) << path;
  }
  explicit Sender(int port) : m_fd(::socket(AF_INET, SOCK_DGRAM, 0)) {
    const sockaddr_in to{AF_INET, htons(in_port_t(port)), {htonl(INADDR_LOOPBACK)}, {}};
    EXPECT_EQ(0, ::connect(m_fd, reinterpret_cast<const sockaddr*>(&to), sizeof to));
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

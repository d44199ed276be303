#pragma once

#include <sys/sem.h>

#include <filesystem>

#include "Files.h"
#include "Process.h"
#include "Waiting.h"

// How a tavok is started.
struct TavokSetup {
  std::string settings;   // lines that come after the usual ones, and override them
  std::string arguments;  // words of the shell that follow those which name configuration and set
  std::string prefix;     // words of the shell: a command that runs tavok
  std::string program = TAVOK_DIRECTORY "/tavok";
  int passed = -1;                 // see ProcessSetup
  void (*beforeExec)() = nullptr;  // the same
};

// A tavok, run in a directory, with its files there: conf, pid, socket, the directory log, and
// output, what it prints; and with a semaphore set of its own. Without arguments and prefixes it is
// started without a shell.
class Tavok : public Process {
 public:
  Tavok(const std::string& directory, const TavokSetup& setup)
      : Tavok(directory, setup, ::semget(IPC_PRIVATE, 1, 0600)) {}
  ~Tavok() {
    if (Id() != 0) Stop(SIGKILL);
    ::semctl(m_semaphores, 0, IPC_RMID);
  }

  // The value of its one semaphore; -1 when somebody has removed the set.
  int Semaphore() const { return ::semctl(m_semaphores, 0, GETVAL); }
  // Waits until it takes datagrams, or has ended. Returns whether it takes them.
  bool IsUp() const {
    return Eventually([this] { return IsRaised() || HasEnded(); }) && Semaphore() == 1;
  }
  std::string Output() const { return ReadFile(m_output); }
  // Waits until its output holds the text.
  bool Says(const std::string& text) const {
    return Eventually([&] { return Output().find(text) != std::string::npos; });
  }

 private:
  Tavok(const std::string& directory, const TavokSetup& setup, int semaphores)
      : Process(PreparedCommand(directory + "/", setup, std::to_string(semaphores)),
                {directory, directory + "/output", directory + "/output", setup.passed,
                 setup.beforeExec}),
        m_output(directory + "/output"),
        m_semaphores(semaphores) {
    Check(semaphores != -1, "semget");
  }

  // Writes the configuration, and returns the words of the command that reads it.
  static std::vector<std::string> PreparedCommand(const std::string& top, const TavokSetup& setup,
                                                  const std::string& id) {
    WriteFile(top + "conf", "[LogServer]\nDirName=" + top + "log\nPidFileName=" + top +
                                "pid\nPort=" + top + "socket\n" + setup.settings);
    const std::string prefix = setup.prefix + " " + TestPrefix();
    if (prefix == " " && setup.arguments.empty()) return {setup.program, "-c", "conf", "-s", id};
    return ShellWords("exec " + prefix + " \"$0\" -c conf -s " + id + " " + setup.arguments,
                      setup.program);
  }

  // Waits 20 ms at most.
  bool IsRaised() const {
    // Both at once: the value stays as it is.
    sembuf takeAndGiveBack[] = {{0, -1, 0}, {0, 1, 0}};
    const timespec limit{0, 20'000'000};
    return ::semtimedop(m_semaphores, takeAndGiveBack, 2, &limit) == 0;
  }

  const std::string m_output;
  const int m_semaphores;
};

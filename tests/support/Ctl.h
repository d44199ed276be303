#pragma once

#include "Daemon.h"

// A tavokctl, run in the directory `dir`; `words` are words of the shell. What it prints goes to
// the files `name`.out and `name`.err.
class Ctl {
 public:
  Ctl(const TempDir& dir, const std::string& words, const std::string& name = "ctl",
      const std::string& program = TAVOK_DIRECTORY "/tavokctl")
      : m_name(dir / name) {
    for (const char* const end : {".out", ".err"}) WriteFile(m_name + end, "");
    const std::string command = "cd " + (dir / "") + "; exec >" + m_name + ".out 2>" + m_name +
                                ".err; exec " + program + " " + words;
    if ((m_pid = ::fork()) != 0) return;
    ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    ::_exit(127);
  }
  ~Ctl() {
    if (m_pid != 0) End(SIGKILL);
  }

  std::string Out() const { return ReadFile(m_name + ".out"); }
  std::string Err() const { return ReadFile(m_name + ".err"); }
  std::string All() const { return Out() + Err(); }
  bool Says(const std::string& text) const {
    return Eventually([&] { return All().find(text) != text.npos; });
  }
  // Whether it sleeps until something happens.
  bool Waits() const {
    return Eventually([this] {
      const std::string stat = ReadFile("/proc/" + std::to_string(m_pid) + "/stat");
      return stat.find("(tavokctl) S") != stat.npos;
    });
  }
  void Signal(int signal) const { ::kill(m_pid, signal); }
  // Waits for the end. Returns the exit status, or 128 and the signal that ended it.
  int Status() {
    int status = 0;
    ::waitpid(std::exchange(m_pid, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  int End(int signal) {
    Signal(signal);
    return Status();
  }

 private:
  const std::string m_name;
  pid_t m_pid;
};

// Runs one to its end; expects the status, and the text in what it prints.
inline std::string Expect(const TempDir& dir, const std::string& words, int status,
                          const std::string& text) {
  Ctl ctl(dir, words);
  EXPECT_EQ(status, ctl.Status()) << words << "\n" << ctl.All();
  EXPECT_NE(text.npos, ctl.All().find(text)) << words << ": " << text << "\n" << ctl.All();
  return ctl.All();
}

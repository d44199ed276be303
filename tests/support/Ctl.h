#pragma once

#include "Daemon.h"

// A tavokctl, run in the directory `dir`; `words` are words of the shell. What it prints goes to
// the files `name`.out and `name`.err.
class Ctl {
 public:
  Ctl(const TempDir& dir, const std::string& words, const std::string& name = "ctl",
      const std::string& program = TAVOK_DIRECTORY "/tavokctl")
      : m_name(Emptied(dir / name)),
        m_process(ShellWords("exec " + program + " " + words),
                  {.directory = dir.Path(), .output = m_name + ".out", .errors = m_name + ".err"}) {
  }

  std::string Out() const { return ReadFile(m_name + ".out"); }
  std::string Err() const { return ReadFile(m_name + ".err"); }
  std::string All() const { return Out() + Err(); }
  bool Says(const std::string& text) const {
    return Eventually([&] { return All().find(text) != text.npos; });
  }
  // Whether it sleeps until something happens, with that file or directory open.
  bool Waits(const std::string& path) const {
    return Eventually([&] {
      bool isOpen = false;
      std::error_code gone;
      for (const auto& entry : std::filesystem::directory_iterator(Proc("fd"), gone)) {
        isOpen = isOpen || std::filesystem::read_symlink(entry, gone) == path;
      }
      return isOpen && IsInState("S");
    });
  }
  // Stops it, for SIGCONT to go on.
  void Pause() const {
    Signal(SIGSTOP);
    EXPECT_TRUE(Eventually([this] { return IsInState("T"); }));
  }
  void Signal(int signal) const { m_process.Signal(signal); }
  // See Process::Exit and Process::Stop.
  int Status() { return m_process.Exit(); }
  int End(int signal) { return m_process.Stop(signal); }

 private:
  static std::string Emptied(const std::string& name) {
    for (const char* const end : {".out", ".err"}) WriteFile(name + end, "");
    return name;
  }
  std::string Proc(const std::string& name) const {
    return "/proc/" + m_process.Pid() + "/" + name;
  }
  bool IsInState(const std::string& state) const {
    return ReadFile(Proc("stat")).find("(tavokctl) " + state) != std::string::npos;
  }

  const std::string m_name;
  Process m_process;
};

// Runs one to its end; expects the status, and the text in what it prints.
inline std::string Expect(const TempDir& dir, const std::string& words, int status,
                          const std::string& text) {
  Ctl ctl(dir, words);
  EXPECT_EQ(status, ctl.Status()) << words << "\n" << ctl.All();
  EXPECT_NE(text.npos, ctl.All().find(text)) << words << ": " << text << "\n" << ctl.All();
  return ctl.All();
}

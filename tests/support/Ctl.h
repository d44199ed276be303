#pragma once

#include "Collector.h"
#include "Daemon.h"

// A tavokctl, run in the directory `dir`; `words` are words of the shell. What it prints goes to
// the files `name`.out and `name`.err.
class Ctl : public Process {
 public:
  Ctl(const TempDir& dir, const std::string& words, const std::string& name = "ctl",
      const std::string& program = TAVOK_DIRECTORY "/tavokctl")
      : Process(ShellWords("exec " + program + " " + words),
                {.directory = dir.Path(),
                 .output = Emptied(dir / name + ".out"),
                 .errors = Emptied(dir / name + ".err")}),
        m_name(dir / name) {}

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
      for (const auto& entry : std::filesystem::directory_iterator(Proc() + "/fd", gone)) {
        isOpen = isOpen || std::filesystem::read_symlink(entry, gone) == path;
      }
      return isOpen && IsInState(Proc(), "S");
    });
  }
  // See Process::Exit and Process::Stop.
  int Status() { return Exit(); }
  int End(int signal) { return Stop(signal); }

 private:
  static std::string Emptied(const std::string& path) {
    WriteFile(path, "");
    return path;
  }

  const std::string m_name;
};

// Runs one to its end; expects the status, and the text in what it prints.
inline std::string Expect(const TempDir& dir, const std::string& words, int status,
                          const std::string& text) {
  Ctl ctl(dir, words);
  EXPECT_EQ(status, ctl.Status()) << words << "\n" << ctl.All();
  EXPECT_NE(text.npos, ctl.All().find(text)) << words << ": " << text << "\n" << ctl.All();
  return ctl.All();
}

#pragma once

#include "Process.h"

// A semaphore set of its own, for a tavok to raise when it is up.
class SemaphoreSet {
 public:
  SemaphoreSet();
  SemaphoreSet(const SemaphoreSet&) = delete;
  SemaphoreSet& operator=(const SemaphoreSet&) = delete;
  ~SemaphoreSet();

  int SetId() const { return m_id; }
  // The value of its one semaphore; -1 when somebody has removed the set.
  int Value() const;
  // Waits 20 ms at most. Returns whether the semaphore has been raised.
  bool IsRaised() const;

 private:
  const int m_id;
};

// How a tavok is started.
struct TavokSetup {
  std::string settings;   // lines that come after the usual ones, and override them
  std::string arguments;  // words of the shell that follow those which name configuration and set
  std::string prefix;     // words of the shell: a command that runs tavok
  std::string program = TAVOK_DIRECTORY "/tavok";
  void (*beforeExec)() = nullptr;  // see ProcessSetup
};

// A tavok, run in a directory, with its files there: conf, pid, socket, the directory log, and
// output, what it prints. Without arguments and prefixes it is started without a shell.
class Tavok : private SemaphoreSet, public Process {
 public:
  Tavok(const std::string& directory, const TavokSetup& setup);

  int Semaphore() const { return Value(); }
  // Waits until it takes datagrams, or has ended. Returns whether it takes them.
  bool IsUp() const;
  std::string Output() const;
  // Waits until its output holds the text.
  bool Says(const std::string& text) const;

 private:
  const std::string m_output;
};

#include "process/Launch.h"

#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include "base/Failure.h"
#include "base/Stopwatch.h"
#include "process/Child.h"

namespace {

constexpr std::size_t kLinesShown = 10;

volatile std::sig_atomic_t g_bInterrupted = 0;

// A private set of one semaphore.
class CSemaphore {
 public:
  CSemaphore() : m_id(::semget(IPC_PRIVATE, 1, 0600)) {
    if (m_id == -1) throw CFailure("make a semaphore set", errno);
  }
  CSemaphore(const CSemaphore&) = delete;
  CSemaphore& operator=(const CSemaphore&) = delete;
  ~CSemaphore() { (void)::semctl(m_id, 0, IPC_RMID); }

  int Id() const { return m_id; }
  bool IsRaised() const { return ::semctl(m_id, 0, GETVAL) > 0; }

 private:
  const int m_id;
};

// While it lives, SIGINT, SIGTERM and SIGHUP set g_bInterrupted instead of ending the process.
class CInterruptNote {
 public:
  CInterruptNote() {
    struct sigaction note {};
    note.sa_handler = [](int) { g_bInterrupted = 1; };
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
      (void)::sigaction(kSignals[i], &note, &m_before[i]);
    }
  }
  CInterruptNote(const CInterruptNote&) = delete;
  CInterruptNote& operator=(const CInterruptNote&) = delete;
  ~CInterruptNote() {
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
      (void)::sigaction(kSignals[i], &m_before[i], nullptr);
    }
  }

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

  struct sigaction m_before[std::size(kSignals)];
};

std::string FindProgram() {
  std::error_code error;
  std::string directory = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) throw CFailure("find the program tavok: read /proc/self/exe", error.value());
  directory.resize(directory.rfind('/') + 1);
  for (const char* const place : {"tavok", "../sbin/tavok"}) {
    if (::access((directory + place).c_str(), X_OK) == 0) return directory + place;
  }
  throw CFailure("find the program tavok: neither in " + directory + " nor in " + directory +
                 "../sbin");
}

// The last lines of its output, to be printed below the reason.
std::string LastLines(const std::string& said) {
  std::size_t begin = said.size();
  for (std::size_t lines = 0; begin > 0 && lines <= kLinesShown; ++lines) {
    begin = said.rfind('\n', begin - 1);
    if (begin == std::string::npos) begin = 0;
  }
  std::string last = said.substr(begin);
  while (last.starts_with('\n')) last.erase(0, 1);
  while (last.ends_with('\n')) last.pop_back();
  return last.empty() ? "; it said nothing" : "; it said:\n" + last;
}

std::string EndOf(int status) {
  return WIFEXITED(status) ? "it ended with status " + std::to_string(WEXITSTATUS(status))
                           : "it was ended by signal " + std::to_string(WTERMSIG(status));
}

[[noreturn]] void Fail(const std::string& reason, const CChild& child) {
  throw CFailure("start tavok: " + reason + LastLines(child.Said()));
}

void AwaitUp(CChild& child, const CSemaphore& semaphore, unsigned timeout) {
  for (const CStopwatch watch; watch.Seconds() < timeout && g_bInterrupted == 0;) {
    (void)child.Listen();
    if (semaphore.IsRaised()) return;
    int status = 0;
    if (!child.HasEnded(status)) continue;
    while (child.Listen()) {  // read the rest of its output
    }
    Fail(EndOf(status), child);
  }
  child.End();
  Fail(g_bInterrupted != 0 ? "interrupted" : "not up after " + std::to_string(timeout) + " s",
       child);
}

}  // namespace

pid_t Launch(const std::string& config, const std::vector<std::string>& options, unsigned timeout) {
  const CInterruptNote note;
  const CSemaphore semaphore;
  std::vector<std::string> words{"tavok"};
  words.insert(words.end(), options.begin(), options.end());
  // Ours come last: the last of a repeated option counts.
  words.insert(words.end(), {"-c", config, "-s", std::to_string(semaphore.Id())});
  CChild child(FindProgram(), words);
  AwaitUp(child, semaphore, timeout);
  (void)std::fputs(child.Said().c_str(), stderr);
  return child.Pid();
}

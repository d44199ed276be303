#include "process/Launch.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "base/Failure.h"
#include "base/Output.h"
#include "base/Stopwatch.h"
#include "process/Child.h"
#include "process/Command.h"
#include "process/Instance.h"

namespace {

constexpr std::size_t kLinesShown = 10;

volatile std::sig_atomic_t g_bInterrupted = 0;

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

// Whether the commands that follow will find it; otherwise, why not.
bool IsFound(pid_t pid, const std::string& pidFile, std::string& why) {
  try {
    const CPidFile named = ReadPidFile(pidFile);
    why = pidFile + " does not name it";
    return named.kind == CPidFile::kPid && named.pid == pid;
  } catch (const CFailure& e) {
    why = e.what();
    return false;
  }
}

void AwaitFound(CChild& child, const CSemaphore& semaphore, const std::string& pidFile,
                unsigned timeout) {
  AwaitUp(child, semaphore, timeout);
  std::string why;
  if (IsFound(child.Pid(), pidFile, why)) return;
  child.End();
  Fail("it could not be found again: " + why, child);
}

}  // namespace

pid_t Launch(const CSettings& settings, const std::vector<std::string>& options, unsigned timeout) {
  const CInterruptNote note;
  const CSemaphore semaphore;
  const std::string& pidFile = settings.m_strPidFileName;
  CChild child(FindProgram(), CommandWords(settings.m_strConfFile, options, semaphore));
  try {
    AwaitFound(child, semaphore, pidFile, timeout);
  } catch (const CFailure&) {
    std::string why;
    // One that cannot start leaves it.
    if (IsFound(child.Pid(), pidFile, why)) (void)::unlink(pidFile.c_str());
    throw;
  }
  (void)std::fputs(ForErrors(child.Said()).c_str(), stderr);
  return child.Pid();
}

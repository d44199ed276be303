#include "process/Instance.h"

#include <poll.h>
#include <signal.h>
extern "C" {
#include <sys/pidfd.h>  // in glibc 2.36 it lacks the extern "C"
}

#include <cerrno>
#include <optional>

#include "QELString.h"
#include "base/Failure.h"
#include "base/Files.h"
#include "base/Output.h"
#include "base/Stopwatch.h"
#include "process/ProcFiles.h"
#include "process/Search.h"

namespace {

constexpr const char* kBlanks = " \t\r\n";
constexpr std::size_t kPidFileLimit = 4096;

// A process that the caller may not see.
struct CHidden : CFailure {
  using CFailure::CFailure;
};

// The file name of its program; empty without the permission to see it.
std::string ProgramOf(pid_t pid) {
  std::string path = LinkAt(ProcPath(pid, "exe"));
  // After an upgrade has replaced the file, it is still that program.
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.ends_with(kDeleted)) path.resize(path.size() - kDeleted.size());
  return path.substr(path.rfind('/') + 1);
}

// The name of its program, or of the process if that cannot be seen; empty if it has just ended.
std::string NameOf(pid_t pid) {
  const std::string name = CommAt(ProcPath(pid, ""));
  // Any process can call itself tavok.
  const std::string program = name == kProgramName ? ProgramOf(pid) : "";
  // Its file may have been renamed meanwhile, such as to tavok.old.
  return program.empty() || program.starts_with(kProgramName) ? name : program;
}

}  // namespace

CPidFile ReadPidFile(const std::string& path) {
  if (!Look(path)) return {CPidFile::kMissing, 0};
  const std::string text = ReadText(path, kPidFileLimit);
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return {text.empty() ? CPidFile::kMissing : CPidFile::kNoPid, 0};
  const std::string digits = text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
  if (digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos) {
    return {CPidFile::kNoPid, 0};
  }
  const pid_t pid = std::stoi(digits);
  return {pid > 0 ? CPidFile::kPid : CPidFile::kNoPid, pid};
}

std::unique_ptr<CInstance> CInstance::Find(const CSettings& settings, std::string& why) {
  std::string doubt;
  auto instance = Find(settings, why, doubt);
  if (!instance && !doubt.empty()) throw CFailure(doubt);
  return instance;
}

std::unique_ptr<CInstance> CInstance::FindVisible(const CSettings& settings, std::string& why) {
  std::string doubt;
  return Find(settings, why, doubt);
}

std::unique_ptr<CInstance> CInstance::Find(const CSettings& settings, std::string& why,
                                           std::string& doubt) {
  std::unique_ptr<CInstance> named;
  std::optional<CHidden> hidden;
  try {
    named = FindNamed(settings.m_strPidFileName, why);
  } catch (const CHidden& e) {
    hidden = e;
    why = e.what();
  }
  const bool isAnothers = named && IsAnothers(named->Pid(), settings);
  if (named && !isAnothers) return named;
  if (isAnothers) {
    why = "process " + std::to_string(named->Pid()) + ", named in " + settings.m_strPidFileName +
          ", is the tavok of another configuration";
  }
  const auto user = FindByUse(settings, doubt);
  if (user) {
    std::string hasEnded;
    return Open(*user, "", hasEnded);
  }
  if (hidden) throw CHidden(*hidden);
  if (isAnothers) throw CFailure("find tavok: " + why);
  return nullptr;
}

std::unique_ptr<CInstance> CInstance::Get(const CSettings& settings) {
  std::string why;
  std::unique_ptr<CInstance> instance = Find(settings, why);
  if (!instance) throw CFailure("find tavok: " + why);
  return instance;
}

std::unique_ptr<CInstance> CInstance::FindNamed(const std::string& pidFile, std::string& why) {
  const CPidFile named = ReadPidFile(pidFile);
  if (named.kind == CPidFile::kPid) return Open(named.pid, ", named in " + pidFile, why);
  why = named.kind == CPidFile::kMissing ? "there is no pid file " + pidFile
                                         : pidFile + " does not hold a process id";
  return nullptr;
}

std::unique_ptr<CInstance> CInstance::Open(pid_t pid, const std::string& namedIn,
                                           std::string& why) {
  // Opened before the name is read: the descriptor cannot come to mean another process.
  CDescriptor process(::pidfd_open(pid, 0));
  if (!process && errno != ESRCH && errno != EINVAL && errno != ENOENT) {
    throw CFailure("open process " + std::to_string(pid), errno);
  }
  auto instance = std::unique_ptr<CInstance>(new CInstance(pid, std::move(process)));
  const std::string name = instance->m_process ? NameOf(pid) : "";
  const std::string what = "process " + std::to_string(pid) + namedIn;
  if (name.empty() && instance->m_process && !instance->AwaitEnd(0)) {
    throw CHidden("look at " + what + ": it is hidden from this user");
  }
  if (name == kProgramName && !instance->AwaitEnd(0)) return instance;
  const bool hasEnded = name.empty() || name == kProgramName;
  why = what + (namedIn.empty() ? "" : ",") +
        (hasEnded ? " does not exist" : " is not tavok but " + name);
  return nullptr;
}

void CInstance::Signal(int signal) const {
  if (::pidfd_send_signal(m_process.Get(), signal, nullptr, 0) == -1 && errno != ESRCH) {
    throw CFailure("signal process " + std::to_string(m_pid), errno);
  }
}

bool CInstance::AwaitEnd(unsigned seconds) const {
  pollfd entry{m_process.Get(), POLLIN, 0};
  return ::poll(&entry, 1, static_cast<int>(seconds * 1000)) == 1;
}

void CInstance::Stop(unsigned seconds) const {
  const CStopwatch watch;
  Signal(SIGTERM);
  Signal(SIGCONT);  // a suspended one could not obey
  if (!AwaitEnd(seconds)) {
    throw CFailure("stop process " + std::to_string(m_pid) + ": still running after " +
                   std::to_string(seconds) + " s");
  }
  Say(qel::QELSPrintf("tavok has stopped: pid %d, %.3f s", m_pid, watch.Seconds()));
}

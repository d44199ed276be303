#include "process/Instance.h"

#include <poll.h>
#include <signal.h>
extern "C" {
#include <sys/pidfd.h>  // in glibc 2.36 it lacks the extern "C"
}

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "base/Failure.h"
#include "base/Files.h"
#include "base/Stopwatch.h"

namespace {

constexpr const char* kName = "tavok";
constexpr const char* kBlanks = " \t\r\n";

std::string ProcPath(pid_t pid, const char* name) {
  return "/proc/" + std::to_string(pid) + "/" + name;
}

// The file name of its program; empty without the permission to see it.
std::string ProgramOf(pid_t pid) {
  std::error_code unseen;
  std::string path = std::filesystem::read_symlink(ProcPath(pid, "exe"), unseen);
  // After an upgrade has replaced the file, it is still that program.
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.ends_with(kDeleted)) path.resize(path.size() - kDeleted.size());
  return path.substr(path.rfind('/') + 1);
}

// The name of its program, or of the process if that cannot be seen; empty if it has just ended.
std::string NameOf(pid_t pid) {
  std::string name;
  try {
    name = ReadText(ProcPath(pid, "comm"));
  } catch (const CFailure&) {
    return {};
  }
  name.resize(name.find_last_not_of(kBlanks) + 1);
  // Any process can call itself tavok.
  const std::string program = name == kName ? ProgramOf(pid) : "";
  return program.empty() ? name : program;
}

}  // namespace

CPidFile ReadPidFile(const std::string& path) {
  if (!Look(path)) return {CPidFile::kMissing, 0};
  const std::string text = ReadText(path);
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return {text.empty() ? CPidFile::kMissing : CPidFile::kNoPid, 0};
  const std::string digits = text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
  if (digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos) {
    return {CPidFile::kNoPid, 0};
  }
  const pid_t pid = std::stoi(digits);
  return {pid > 0 ? CPidFile::kPid : CPidFile::kNoPid, pid};
}

std::unique_ptr<CInstance> CInstance::Find(const std::string& pidFile, std::string& why) {
  const CPidFile named = ReadPidFile(pidFile);
  if (named.kind != CPidFile::kPid) {
    why = named.kind == CPidFile::kMissing ? "there is no pid file " + pidFile
                                           : pidFile + " does not hold a process id";
    return nullptr;
  }
  // Opened before the name is read: the descriptor cannot come to mean another process.
  CDescriptor process(::pidfd_open(named.pid, 0));
  if (!process && errno != ESRCH && errno != EINVAL && errno != ENOENT) {
    throw CFailure("open process " + std::to_string(named.pid), errno);
  }
  std::unique_ptr<CInstance> instance(new CInstance(named.pid, std::move(process)));
  const std::string name = instance->m_process ? NameOf(named.pid) : "";
  if (name.empty() && instance->m_process && !instance->AwaitEnd(0)) {
    throw CFailure("look at process " + std::to_string(named.pid) + ", named in " + pidFile +
                   ": it is hidden from this user");
  }
  if (name == kName && !instance->AwaitEnd(0)) return instance;
  why = "process " + std::to_string(named.pid) + ", named in " + pidFile +
        (name.empty() || name == kName ? ", does not exist" : ", is not tavok but " + name);
  return nullptr;
}

std::unique_ptr<CInstance> CInstance::Get(const std::string& pidFile) {
  std::string why;
  std::unique_ptr<CInstance> instance = Find(pidFile, why);
  if (!instance) throw CFailure("find tavok: " + why);
  return instance;
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
  if (!AwaitEnd(seconds)) {
    throw CFailure("stop process " + std::to_string(m_pid) + ": still running after " +
                   std::to_string(seconds) + " s");
  }
  std::printf("tavok has stopped: pid %d, %.3f s\n", m_pid, watch.Seconds());
}

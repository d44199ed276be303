#include "process/Search.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "LogFileNames.h"
#include "base/Failure.h"
#include "base/KernelSockets.h"
#include "process/Instance.h"
#include "process/ProcFiles.h"

namespace {

bool HasSocket(const COpenFiles& files, pid_t pid, const CSettings& settings) {
  if (CSettings::PortNumber(settings.m_strPort) == 0) {
    const auto receiver = ReceiverAt(PathSeenBy(pid, settings.m_strPort)).socket;
    return receiver && files.HasSocket(receiver->inode);
  }
  // Whatever its address: after an edit of that alone, the port is free once tavok has stopped.
  const std::uint16_t port = UdpPortOf(settings.m_strPort);
  const auto sockets = UdpSockets();
  return std::any_of(sockets.begin(), sockets.end(), [&](const CKernelSocket& socket) {
    return socket.port == port && files.HasSocket(socket.inode);
  });
}

// Those of its command line; none if it has ended.
std::vector<std::string> WordsOf(pid_t pid) {
  std::vector<std::string> words;
  try {
    std::istringstream text(ReadText(ProcPath(pid, "cmdline")));
    for (std::string word; std::getline(text, word, '\0');) words.push_back(word);
  } catch (const CFailure&) {
    words.clear();
  }
  return words;
}

// The file that its command line names, as an argument of its own or together with the option.
std::string ConfigOf(pid_t pid) {
  std::string config = "LogServer.conf";
  bool isNext = false;
  for (const std::string& word : WordsOf(pid)) {
    const std::size_t sign = word.find('=');
    const bool isLong = word.starts_with("--c");
    if (isNext) {
      config = word;
    } else if (isLong && sign != word.npos) {
      config = word.substr(sign + 1);
    } else if (word.starts_with("-c") && word.size() > 2) {
      config = word.substr(2);
    }
    isNext = !isNext && (word == "-c" || (isLong && sign == word.npos));
  }
  return config;
}

// Whether it was started with this configuration; for a relative name that cannot be resolved, with
// one of that name.
bool HasRead(pid_t pid, const std::filesystem::path& config) {
  const std::filesystem::path its = PathSeenBy(pid, ConfigOf(pid));
  std::error_code missing;
  return its.is_absolute() ? std::filesystem::equivalent(its, config, missing)
                           : its.filename() == config.filename();
}

bool HasCurrent(const COpenFiles& files, pid_t pid, const CSettings& settings) {
  const std::string directory = PathSeenBy(pid, settings.m_strDirName);
  const auto current = TryToLook(PathIn(directory, kCurrentName));
  return current && files.HasWritten(current->id);
}

bool Uses(const COpenFiles& files, pid_t pid, const CSettings& settings) {
  return HasCurrent(files, pid, settings) || HasSocket(files, pid, settings);
}

// Whether a process whose descriptors are hidden may be it: another user's can have a configuration
// of the same name, or can pretend to have this one.
bool MayUse(pid_t pid, const CSettings& settings) {
  const auto its = TryToLook(PathIn(settings.m_strDirName, kCurrentName));
  const auto process = TryToLook(ProcPath(pid, ""));
  const bool isOthers = its && process && its->owner != process->owner;
  return !isOthers && HasRead(pid, settings.m_strConfFile);
}

// The first process is always there, but not for everybody.
bool AreOthersHidden() { return CommAt("/proc/1").empty(); }

// Calls `use` with each process that is a tavok and has not ended.
template <class Use>
void ForEachTavok(Use use) {
  for (const pid_t pid : ProcEntries("/proc")) {
    // One that has ended, but was not waited for, has no words.
    if (CommAt(ProcPath(pid, "")) == kProgramName && !WordsOf(pid).empty()) use(pid);
  }
}

std::optional<COpenFiles> TryToSee(pid_t pid) {
  try {
    return OpenFilesOf(pid);
  } catch (const CFailure&) {
    return {};
  }
}

}  // namespace

std::optional<pid_t> FindByUse(const CSettings& settings, std::string& doubt) {
  if (AreOthersHidden()) doubt = "find tavok: the processes of other users are hidden";
  std::optional<pid_t> found;
  ForEachTavok([&](pid_t pid) {
    const auto files = TryToSee(pid);
    if (files && HasRead(pid, settings.m_strConfFile) && Uses(*files, pid, settings)) found = pid;
    if (files || !MayUse(pid, settings)) return;
    doubt = "look at process " + std::to_string(pid) +
            ", which may be it: its descriptors are hidden from this user";
  });
  return found;
}

bool IsOneBeginning(const CSettings& settings) {
  bool isThere = false;
  ForEachTavok([&](pid_t pid) {
    const auto files = TryToSee(pid);
    isThere |= files && files->written.empty() && HasRead(pid, settings.m_strConfFile);
  });
  return isThere;
}

std::optional<pid_t> FindOtherWriter(const CSettings& settings, pid_t own) {
  std::optional<pid_t> other;
  const auto current = TryToLook(PathIn(settings.m_strDirName, kCurrentName));
  if (!current) return other;
  ForEachTavok([&](pid_t pid) {
    const auto files = TryToSee(pid);
    if (pid != own && files && files->HasWritten(current->id)) other = pid;
  });
  return other;
}

bool IsAnothers(pid_t pid, const CSettings& settings) {
  const auto files = TryToSee(pid);
  return files && !HasRead(pid, settings.m_strConfFile) && !Uses(*files, pid, settings);
}

std::string OtherConfigOf(pid_t pid, const CSettings& settings) {
  if (HasRead(pid, settings.m_strConfFile)) return {};
  const auto files = TryToSee(pid);
  if (!files) return {};
  const bool isSame = HasCurrent(*files, pid, settings) && HasSocket(*files, pid, settings);
  return isSame ? "" : ConfigOf(pid);
}

bool HasSocket(pid_t pid, const CSettings& settings) {
  return HasSocket(OpenFilesOf(pid), pid, settings);
}

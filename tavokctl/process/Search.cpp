#include "process/Search.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "LogFileNames.h"
#include "base/Failure.h"
#include "base/KernelSockets.h"
#include "base/UnixSocket.h"
#include "process/Instance.h"
#include "process/ProcFiles.h"

namespace {

// Those that receive where these settings say.
std::vector<CKernelSocket> Receivers(const CSettings& settings) {
  const int port = CSettings::PortNumber(settings.m_strPort);
  if (port == 0) {
    const auto receiver = ReceiverAt(settings.m_strPort).socket;
    return receiver ? std::vector{*receiver} : std::vector<CKernelSocket>();
  }
  const in_addr_t address = AddressOf(settings.m_strBindingAddress);
  auto sockets = UdpSockets();
  std::erase_if(sockets, [&](const CKernelSocket& socket) {
    return socket.port != static_cast<std::uint16_t>(port) || socket.address != address;
  });
  return sockets;
}

bool Uses(const COpenFiles& files, const CSettings& settings) {
  const auto current = TryToLook(PathIn(settings.m_strDirName, kCurrentName));
  if (current && files.HasWritten(current->id)) return true;
  const auto receivers = Receivers(settings);
  return std::any_of(receivers.begin(), receivers.end(), [&files](const CKernelSocket& socket) {
    return files.HasSocket(socket.inode);
  });
}

std::vector<std::string> WordsOf(pid_t pid) {
  std::istringstream text(ReadText(ProcPath(pid, "cmdline")));
  std::vector<std::string> words;
  for (std::string word; std::getline(text, word, '\0');) words.push_back(word);
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

// Whether a process whose descriptors are hidden may have been started with the configuration.
bool MayHaveRead(pid_t pid, const std::filesystem::path& config) {
  try {
    const std::filesystem::path its = ConfigOf(pid);
    std::error_code missing;
    return its.is_absolute() ? std::filesystem::equivalent(its, config, missing)
                             : its.filename() == config.filename();
  } catch (const CFailure&) {
    return false;  // it has ended
  }
}

// Whether certainly nobody receives where these settings say: another user's tavok may have been
// started with a file of the same name, in another directory.
bool IsUnheard(const CSettings& settings) {
  if (CSettings::PortNumber(settings.m_strPort) != 0) return Receivers(settings).empty();
  const int error = ProbeUnixSocket(settings.m_strPort);
  return error == ENOENT || error == ECONNREFUSED;
}

}  // namespace

std::optional<pid_t> FindByUse(const CSettings& settings) {
  pid_t hidden = 0;
  for (const pid_t pid : ProcEntries("/proc")) {
    if (CommAt(ProcPath(pid, "")) != kProgramName) continue;
    try {
      if (Uses(OpenFilesOf(pid), settings)) return pid;
    } catch (const CFailure&) {
      if (MayHaveRead(pid, settings.m_strConfFile)) hidden = pid;
    }
  }
  if (hidden == 0 || IsUnheard(settings)) return {};
  throw CFailure("look at process " + std::to_string(hidden) +
                 ", which may be it: its descriptors are hidden from this user");
}

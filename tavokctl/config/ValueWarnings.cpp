#include <arpa/inet.h>
#include <libgen.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "LogFileNames.h"
#include "QELSocket.h"
#include "base/Descriptor.h"
#include "base/Failure.h"
#include "base/UnixSocket.h"
#include "config/Warnings.h"
#include "process/Instance.h"
#include "process/Service.h"

namespace {

constexpr long long kPorts = 65536;

std::string FolderOf(const std::string& path) {
  std::string copy = path;
  return ::dirname(copy.data());
}

// The type bits of its mode; 0 if there is no such file.
mode_t KindOf(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

// Whether a process holds the socket, of whatever type.
bool IsAlive(const std::string& path) {
  const int error = ProbeUnixSocket(path);
  return error == 0 || error == EPROTOTYPE;
}

class CValueWarnings {
 public:
  CValueWarnings(const std::vector<CConfigLine>& lines, const CSettings& settings,
                 std::vector<CWarning>& warnings)
      : m_lines(lines), m_settings(settings), m_warnings(warnings) {}

  void LookAtAll() {
    LookAtDirectory();
    if (CSettings::PortNumber(m_settings.m_strPort) != 0) {
      LookAtUdp();
    } else {
      LookAtUnix();
    }
    LookAtPidFile();
    LookAtLimits();
  }

 private:
  void LookAtDirectory() {
    const std::string& path = m_settings.m_strDirName;
    if (path.empty()) return Warn("DirName", "is empty: tavok will not start");
    WarnOfRelative("DirName", path);
    if (KindOf(path) == 0) {
      WarnOfFolder("DirName", path, "cannot be created");
    } else if (KindOf(path) != S_IFDIR) {
      Warn("DirName", path + " is not a directory: tavok will not start");
    } else if (::access(path.c_str(), W_OK | X_OK) == -1) {
      Warn("DirName", path + " cannot be written: " + std::strerror(errno));
    }
  }

  void LookAtUdp() {
    const std::string& port = m_settings.m_strPort;
    const long long number = std::strtoll(port.c_str(), nullptr, 10);
    const auto effective = static_cast<std::uint16_t>(CSettings::PortNumber(port));
    if (port.find_first_not_of("0123456789") != std::string::npos || number >= kPorts) {
      Warn("Port", "\"" + port + "\" means UDP port " + std::to_string(effective) +
                       (effective == 0 ? ": the kernel picks one" : ""));
    }
    if (!m_settings.m_strBindingAddress.empty()) LookAtAddress(m_settings.m_strBindingAddress);
    if (KindOf(port) != 0) {
      Warn("Port", port + " is also a file in this directory: tavok removes it when it stops here");
    }
  }

  void LookAtAddress(const std::string& text) {
    if (!qel::QELSocket::IsIP(text.c_str())) {
      return Warn("BindingAddress", text + " is not a dotted IPv4 address: tavok will not start");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::inet_addr(text.c_str());
    const std::string meant = ::inet_ntoa(address.sin_addr);
    if (meant != text) Warn("BindingAddress", text + " means " + meant);
    const CDescriptor probe(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (::bind(probe.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == -1) {
      Warn("BindingAddress", text + " cannot be bound: " + std::strerror(errno));
    }
  }

  void LookAtUnix() {
    const std::string& path = m_settings.m_strPort;
    if (!m_settings.m_strBindingAddress.empty()) {
      Warn("BindingAddress", "is ignored: tavok listens on a Unix-domain socket");
    }
    if (path.empty())
      return Warn("Port", "is empty: no program can send to a socket without a path");
    if (!path.starts_with('/')) {
      Warn("Port", "\"" + path +
                       "\" is not a port number: taken as the path of a socket, relative to the "
                       "directory in which tavok is started");
    }
    if (path.size() > kUnixPathLimit) {
      Warn("Port", "has " + std::to_string(path.size()) +
                       " bytes: a socket's path can have at most " +
                       std::to_string(kUnixPathLimit));
    }
    const mode_t kind = KindOf(path);
    if (kind == S_IFDIR) Warn("Port", path + " is a directory: tavok will not start");
    if (kind != 0 && kind != S_IFDIR && kind != S_IFSOCK) {
      Warn("Port", path + " is not a socket: tavok removes it");
    }
    const bool isHeld = IsServiceOf(m_settings.m_strConfFile);  // by systemd, for tavok
    if (kind == S_IFSOCK && !isHeld && !IsTavokRunning() && IsAlive(path)) {
      Warn("Port", path + " is the socket of another program: tavok removes it");
    }
    if (kind == 0) WarnOfFolder("Port", path, "cannot be bound");
    WarnOfRotatedName("Port", path);
  }

  void LookAtPidFile() {
    const std::string& path = m_settings.m_strPidFileName;
    if (path.empty()) return Warn("PidFileName", "is empty: no other tavok can take over");
    WarnOfRelative("PidFileName", path);
    const mode_t kind = KindOf(path);
    if (kind == S_IFDIR) {
      Warn("PidFileName", path + " is a directory");
    } else if (kind == 0) {
      WarnOfFolder("PidFileName", path, "cannot be written");
    } else if (kind != S_IFREG) {
      Warn("PidFileName", path + " is a device or a pipe: tavok removes it when it stops");
    } else if (::access(path.c_str(), R_OK | W_OK) == -1) {
      Warn("PidFileName", path + " cannot be written: " + std::strerror(errno));
    } else if (ReadPidFile(path).kind == CPidFile::kNoPid) {
      Warn("PidFileName", path +
                              " does not hold a process id: tavok signals whatever it reads there, "
                              "then replaces and removes the file");
    }
    if (path == m_settings.m_strPort) Warn("PidFileName", path + " is also the path of the socket");
    WarnOfRotatedName("PidFileName", path);
  }

  void LookAtLimits() {
    if (m_settings.m_bExternalRotation) {
      for (const char* const key : {"MaxFileSize", "MaxSize", "MaxPeriod"}) {
        if (LineOf(key) != 0)
          Warn(key, "has no effect: with ExternalRotation nothing is rotated by size or deleted");
      }
    } else if (m_settings.m_nMaxSize <= m_settings.m_nMaxFileSize) {
      Warn("MaxSize", "is not above MaxFileSize: a rotated file is deleted at once");
    }
  }

  bool IsTavokRunning() const {
    try {
      std::string why;
      return CInstance::Find(m_settings.m_strPidFileName, why) != nullptr;
    } catch (const CFailure&) {
      return false;  // LookAtPidFile warns of it
    }
  }

  void WarnOfRelative(const char* key, const std::string& path) {
    if (!path.starts_with('/')) {
      Warn(key, path + " is relative to the directory in which tavok is started");
    }
  }

  // About something that does not exist yet.
  void WarnOfFolder(const char* key, const std::string& path, const std::string& consequence) {
    const std::string folder = FolderOf(path);
    if (::access(folder.c_str(), W_OK | X_OK) == -1) {
      Warn(key, path + " " + consequence + ": " + folder + ": " + std::strerror(errno));
    }
  }

  // About a file that tavok takes for a rotated one.
  void WarnOfRotatedName(const char* key, const std::string& path) {
    std::error_code unknown;
    const bool isThere =
        std::filesystem::equivalent(FolderOf(path), m_settings.m_strDirName, unknown);
    if (isThere && path.find(kRotatedMark, path.rfind('/') + 1) != std::string::npos) {
      Warn(key, path + " counts as a rotated file and will be deleted");
    }
  }

  unsigned LineOf(const char* key) const {
    for (const CConfigLine& line : m_lines) {
      if (IsSameKey(line.key, key)) return line.number;
    }
    return 0;
  }

  void Warn(const char* key, const std::string& text) {
    m_warnings.push_back({LineOf(key), key + (" " + text)});
  }

  const std::vector<CConfigLine>& m_lines;
  const CSettings& m_settings;
  std::vector<CWarning>& m_warnings;
};

}  // namespace

void WarnOfValues(const std::vector<CConfigLine>& lines, const CSettings& settings,
                  std::vector<CWarning>& warnings) {
  CValueWarnings(lines, settings, warnings).LookAtAll();
}

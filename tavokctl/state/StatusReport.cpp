#include "state/StatusReport.h"

#include <arpa/inet.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "LogFileNames.h"
#include "base/Failure.h"
#include "base/UnixSocket.h"
#include "config/Config.h"
#include "process/Instance.h"
#include "process/ProcFiles.h"
#include "process/Search.h"
#include "process/Service.h"
#include "process/Systemd.h"

namespace {

// Between the looks: not the multiple of any period.
constexpr useconds_t kPausesUs[] = {37'000, 71'000, 113'000};

// One look at everything that a configuration leads to.
class CStatusLook {
 public:
  CStatusLook(const CSettings& settings, CStatusReport& report)
      : m_settings(settings), m_report(report) {}

  void LookAtAll() {
    m_report.maxFileSize = m_settings.m_nMaxFileSize;
    m_report.maxSize = m_settings.m_nMaxSize;
    m_report.isUdp = CSettings::PortNumber(m_settings.m_strPort) != 0;
    m_report.listensOn = m_report.isUdp
                             ? UdpName(AddressOf(m_settings.m_strBindingAddress), ConfiguredPort())
                             : m_settings.m_strPort;
    m_directory = m_settings.m_strDirName;
    if (LookForProcess()) {
      if (!m_report.process->isReceiving)
        Note("its threads have no names: it is of an older version");
      Try([this] { m_open = OpenFilesOf(m_report.process->pid); });
      if (const std::string doubt = DoubtOfConfig(); !doubt.empty()) {
        m_report.listensOn.clear();
        m_report.problems = FindProblems(m_report);
        return Note("where its files and its socket are is not known: " + doubt);
      }
      ResolveDirectory();
      Try([this] { LookAtSocket(); });
    }
    Try([this] { LookAtCurrent(); });
    Try([this] { LookAtRotated(); });
    Try([this] { LookAtDisk(); });
    m_report.problems = FindProblems(m_report);
  }

 private:
  // Why what the configuration names may be another's.
  std::string DoubtOfConfig() const {
    const std::string other = OtherConfigOf(m_report.process->pid, m_settings);
    if (!other.empty())
      return "it was started with another configuration, " + other + ": look at that by -c";
    const bool isRelative = !m_directory.starts_with('/') ||
                            (!m_report.isUdp && !m_settings.m_strPort.starts_with('/'));
    const bool isHere = !LinkAt(ProcPath(m_report.process->pid, "cwd")).empty();
    const bool isGuess = !m_open && (m_report.isConfigChanged || (isRelative && !isHere));
    return isGuess ? "the configuration may have been another, or relative to another directory"
                   : "";
  }

  // Runs a step of the report, and notes its failure.
  template <class Step>
  void Try(Step step) {
    try {
      step();
    } catch (const CFailure& e) {
      Note(e.what());
    }
  }

  void Note(const std::string& trouble) {
    m_report.notKnown += (m_report.notKnown.empty() ? "" : "; ") + trouble;
  }

  bool LookForProcess() {
    try {
      std::string why;
      const auto instance = CInstance::Find(m_settings, why);
      m_report.running = instance != nullptr;
      (instance ? m_report.pidFileTrouble : m_report.reason) = why;
      if (!instance) {
        LookForReceiver();
        return false;
      }
      m_report.process = LookAtProcess(instance->Pid());
      m_report.isConfigChanged = IsYounger(m_settings.m_strConfFile, *m_report.process);
      return true;
    } catch (const CFailure& e) {
      m_report.running.reset();
      m_report.process.reset();
      m_report.reason = e.what();
      return false;
    }
  }

  // Of one in another process namespace, the pid file means nothing here.
  void LookForReceiver() {
    const bool isNamed = ReadPidFile(m_settings.m_strPidFileName).kind == CPidFile::kPid;
    if (!isNamed || IsServiceOf(m_settings.m_strConfFile)) return;
    const bool isThere =
        m_report.isUdp
            ? UdpSocketAt(AddressOf(m_settings.m_strBindingAddress), ConfiguredPort()).has_value()
            : IsAlive(m_settings.m_strPort);
    if (!isThere) return;
    m_report.running.reset();
    m_report.reason += ", but somebody receives at " + m_report.listensOn;
  }

  // Paths in the configuration are relative to the directory that tavok was started in. One that
  // was edited since is not that of the open file.
  void ResolveDirectory() {
    m_directory = Absolute(m_directory);
    if (m_report.isConfigChanged && m_open) m_directory = DirectoryInUse(*m_open, m_directory);
  }

  std::string Absolute(const std::string& path) const {
    return PathSeenBy(m_report.process->pid, path);
  }

  void LookAtSocket() {
    const auto udp = UdpSockets(), local = UnixSockets();
    const auto find = [this](const auto& sockets, const auto& isIt) {
      const auto found = std::find_if(sockets.begin(), sockets.end(), isIt);
      if (found != sockets.end()) m_report.socket = *found;
      return found != sockets.end();
    };
    if (!m_open) {
      if (!m_report.isUdp) return LookAtPath(Absolute(m_settings.m_strPort));
      m_report.socket = UdpSocketAt(AddressOf(m_settings.m_strBindingAddress), ConfiguredPort());
    } else if (find(udp, [this](const auto& one) { return one.port != 0 && IsOurs(one); })) {
      m_report.isUdp = true;
      m_report.listensOn = UdpName(m_report.socket->address, m_report.socket->port);
    } else if (find(local, [this](const auto& one) { return !one.path.empty() && IsOurs(one); })) {
      m_report.isUdp = false;
      m_report.listensOn = m_report.socket->path;
      LookAtPath(Absolute(m_report.socket->path));
    } else {
      Note("its socket is in another network namespace, or has no address");
    }
  }

  // Whether the service has opened the socket itself and only its own user may send to it. Where
  // tavok.socket is masked, somebody wants that.
  void LookAtOwner(const std::string& path) {
    const CProcessState& process = *m_report.process;
    const auto file = TryToLook(path);
    if (!m_report.socket || !m_report.socket->owner || !process.unit || !file) return;
    const bool isOwn = process.owner != 0 && *m_report.socket->owner == process.owner;
    const bool isPrivate = (file->mode & (S_IWGRP | S_IWOTH)) == 0;
    m_report.isSocketUnheld = *process.unit == kServiceUnit && isOwn && isPrivate &&
                              UnitProperty(kSocketUnit, "LoadState") != "masked";
  }

  // Where the descriptors are hidden, who receives at the path may be another process.
  void LookAtPath(const std::string& path) {
    const CReceiver receiver = ReceiverAt(path);
    if (receiver.error != 0 && receiver.error != EPROTOTYPE && !receiver.IsNobody()) {
      return Note("connect to " + path + ": " + std::strerror(receiver.error));
    }
    if (!m_open) {
      m_report.socket = receiver.socket;
      if (receiver.IsNobody()) m_report.isSocketAtPath = false;
    } else {
      m_report.isSocketAtPath = receiver.socket && receiver.socket->inode == m_report.socket->inode;
    }
    LookAtOwner(path);
  }

  bool IsOurs(const CKernelSocket& socket) const { return m_open->HasSocket(socket.inode); }

  std::uint16_t ConfiguredPort() const { return UdpPortOf(m_settings.m_strPort); }

  static std::string UdpName(in_addr_t address, std::uint16_t port) {
    const std::string host = address == INADDR_ANY ? "any address" : ::inet_ntoa({address});
    return "UDP " + host + " port " + std::to_string(port);
  }

  void LookAtCurrent() {
    m_report.currentPath = PathIn(m_directory, kCurrentName);
    m_report.current = Look(m_report.currentPath);
    m_report.isCurrentMissing = !m_report.current.has_value();
    if (!m_open) return;
    // At once: since the first look at the descriptors, there may have been a rotation.
    const COpenFiles open = OpenFilesOf(m_report.process->pid);
    m_report.hasOpenFile = !open.written.empty();
    m_report.isCurrentOpen = m_report.current && open.HasWritten(m_report.current->id);
  }

  void LookAtRotated() {
    std::uint64_t count = 0;
    ForEachRotated(m_directory, [&](const char* name, const CFileState& state) {
      ++count;
      m_report.rotatedBytes += state.size;
      // As tavok does, of those changed within one second it takes any.
      if (m_report.oldest && m_report.oldest->state.changed.tv_sec <= state.changed.tv_sec) return;
      m_report.oldest = CRotatedFile{name, state};
    });
    m_report.rotatedFiles = count;
    if (!m_report.oldest || m_settings.m_bExternalRotation) return;
    m_report.oldestExpires = m_report.oldest->state.changed.tv_sec + m_settings.m_nMaxPeriod;
  }

  void LookAtDisk() {
    struct statvfs disk;
    if (::statvfs(m_directory.c_str(), &disk) == -1) {
      throw CFailure("look at the file system of " + m_directory, errno);
    }
    m_report.freeBytes = disk.f_bavail * disk.f_frsize;
    m_report.diskBytes = disk.f_blocks * disk.f_frsize;
    // Some file systems have no fixed number of blocks or inodes, and tell 0 of 0.
    m_report.isDiskFull =
        (disk.f_blocks > 0 && disk.f_bavail == 0) || (disk.f_files > 0 && disk.f_favail == 0);
  }

  const CSettings& m_settings;
  CStatusReport& m_report;
  std::string m_directory;
  std::optional<COpenFiles> m_open;  // none if they are hidden
};

CStatusReport LookOnce(const std::string& config) {
  CStatusReport report{};
  report.config = config;
  try {
    const auto settings = ReadSettings(config);
    report.isConfigRead = true;
    CStatusLook(*settings, report).LookAtAll();
  } catch (const std::exception& e) {
    report.reason = e.what();
  }
  return report;
}

// Whether what looks amiss may be a change that happens just now.
bool IsToBeSeenAgain(const CStatusReport& report) {
  return report.Health() == EHealth::kFailing || (report.isConfigRead && report.running != true);
}

}  // namespace

EHealth CStatusReport::Health() const {
  if (running == false) return EHealth::kStopped;
  const bool isFailing = std::any_of(problems.begin(), problems.end(),
                                     [](const CProblem* problem) { return problem->isFailure; });
  if (isFailing) return EHealth::kFailing;
  return running == true && notKnown.empty() ? EHealth::kOk : EHealth::kUnknown;
}

CStatusReport MakeStatusReport(const std::string& config) {
  CStatusReport report = LookOnce(config);
  for (const useconds_t pause : kPausesUs) {
    if (!IsToBeSeenAgain(report)) break;
    ::usleep(pause);
    report = LookOnce(config);
  }
  return report;
}

#include "state/StatusReport.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>

#include "LogFileNames.h"
#include "base/Failure.h"
#include "config/Config.h"
#include "process/Instance.h"

namespace {

// The number after a name at the beginning of a line; 0 if there is none.
std::uint64_t NumberOf(const std::string& text, const std::string& name) {
  const std::size_t at = ("\n" + text).find("\n" + name);
  return at == std::string::npos ? 0 : std::strtoull(text.c_str() + at + name.size(), nullptr, 10);
}

// The start of a process in clock ticks since boot: field 22 of its stat file. Field 2 is a name in
// parentheses, which can contain anything.
std::uint64_t StartTicks(const std::string& stat) {
  std::istringstream fields(stat.substr(stat.rfind(')') + 1));
  std::string field;
  for (int number = 3; number <= 22; ++number) fields >> field;
  return std::strtoull(field.c_str(), nullptr, 10);
}

CProcessState ProcessState(int pid, bool hasWorker) {
  const std::string directory = "/proc/" + std::to_string(pid) + "/";
  const std::string status = ReadText(directory + "status");
  const auto ticksPerSecond = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
  const std::uint64_t boot = NumberOf(ReadText("/proc/stat"), "btime ");
  CProcessState state{};
  state.pid = pid;
  state.since =
      static_cast<std::time_t>(boot + StartTicks(ReadText(directory + "stat")) / ticksPerSecond);
  state.memory = NumberOf(status, "VmRSS:") << 10;
  state.peakMemory = NumberOf(status, "VmHWM:") << 10;
  state.threads = static_cast<unsigned>(NumberOf(status, "Threads:"));
  state.threadsExpected = hasWorker ? 3 : 2;
  return state;
}

// Runs a step of the report, and notes its failure.
template <class Step>
void Try(CStatusReport& report, Step step) {
  try {
    step();
  } catch (const CFailure& e) {
    report.trouble += (report.trouble.empty() ? "" : "; ") + std::string(e.what());
  }
}

void LookAtProcess(const CSettings& settings, CStatusReport& report) {
  const auto instance = CInstance::Find(settings.m_strPidFileName, report.whyNotRunning);
  if (instance) report.process = ProcessState(instance->Pid(), !settings.m_bExternalRotation);
}

void LookAtSocket(const CSettings& settings, CStatusReport& report) {
  const int number = CSettings::PortNumber(settings.m_strPort);
  report.isUdp = number != 0;
  const bool isRunning = report.process.has_value();  // otherwise the queue is another program's
  if (report.isUdp) {
    const auto port = static_cast<std::uint16_t>(number);
    const std::string& address = settings.m_strBindingAddress;
    report.listensOn =
        "UDP " + (address.empty() ? "any address" : address) + " port " + std::to_string(port);
    if (port == 0) throw CFailure("find the socket: the kernel has chosen its port");
    if (isRunning) report.queue = UdpQueue(address, port);
  } else {
    report.listensOn = settings.m_strPort;
    if (isRunning) report.queue = UnixQueue(settings.m_strPort);
  }
}

void LookAtRotated(const CSettings& settings, CStatusReport& report) {
  const auto files = RotatedFiles(settings.m_strDirName);
  report.rotatedFiles = files.size();
  for (const CRotatedFile& file : files) report.rotatedBytes += file.state.size;
  if (files.empty()) return;
  report.oldest = files.front();
  if (!settings.m_bExternalRotation) {
    report.oldestExpires = files.front().state.changed + settings.m_nMaxPeriod;
  }
}

void LookAtDisk(const CSettings& settings, CStatusReport& report) {
  struct statvfs disk;
  if (::statvfs(settings.m_strDirName.c_str(), &disk) == -1) {
    throw CFailure("look at the file system of " + settings.m_strDirName, errno);
  }
  report.freeBytes = disk.f_bavail * disk.f_frsize;
  report.diskBytes = disk.f_blocks * disk.f_frsize;
}

}  // namespace

CStatusReport MakeStatusReport(const std::string& config) {
  const auto settings = ReadSettings(config);
  CStatusReport report{};
  report.config = config;
  report.currentPath = PathIn(settings->m_strDirName, kCurrentName);
  report.maxFileSize = settings->m_nMaxFileSize;
  report.maxSize = settings->m_nMaxSize;
  Try(report, [&] { LookAtProcess(*settings, report); });
  Try(report, [&] { LookAtSocket(*settings, report); });
  Try(report, [&] { report.isCurrentMissing = !(report.current = Look(report.currentPath)); });
  Try(report, [&] { LookAtRotated(*settings, report); });
  Try(report, [&] { LookAtDisk(*settings, report); });
  return report;
}

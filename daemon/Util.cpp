#include "Util.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

#include "Log.h"
#include "QELFile.h"
#include "QELString.h"

namespace {

constexpr std::chrono::microseconds kTakeOverWait = std::chrono::seconds(5);

// Sleeps the whole time even if signals arrive.
void Sleep(std::chrono::microseconds time) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + time;
  while (time.count() > 0 && ::usleep(static_cast<useconds_t>(time.count())) == -1 &&
         errno == EINTR) {
    time = std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now());
  }
}

// Returns an empty string if the file cannot be read.
std::string ReadFile(const std::string& path) {
  try {
    qel::CFile file;
    file.Open(path, "r");
    std::string content;
    file.ReadAll(content);
    return content;
  } catch (const qel::CFile::CException&) {
    return {};
  }
}

bool IsDirectory(const char* path) {
  struct stat status;
  return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

void updatepidfile(const std::string& path) {
  try {
    qel::CFile file;
    file.Open(path, "w");
    const std::string digits = qel::QELSPrintf("%ld", static_cast<long>(::getpid()));
    (void)file.Write(digits.data(), digits.size());
  } catch (const qel::CFile::CException&) {
    Log(kLogError, "failed to write to pid file %s ", path.c_str());
  }
}

void killfromfile(int signal, const std::string& path) {
  const std::string content = ReadFile(path);
  if (content.empty()) return;
  const auto pid = static_cast<pid_t>(std::strtol(content.c_str(), nullptr, 10));
  if (::kill(pid, signal) == 0 && signal == SIGTERM) {
    Log(kLogInfo, "killed previous daemon. pid=%d", pid);
  }
  Sleep(kTakeOverWait);
}

std::string GetTempPath() {
  const char* const configured = std::getenv("TMPDIR");
  if (configured != nullptr && IsDirectory(configured)) return configured;
  return IsDirectory("/tmp") ? "/tmp" : "";
}

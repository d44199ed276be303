#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

#include "Log.h"
#include "LogFileNames.h"
#include "LogServerEngine.h"
#include "QELDateTime.h"
#include "ThreadNames.h"

namespace {

constexpr std::time_t kNeverOldest = UINT32_MAX;
constexpr unsigned kCheckIntervalMs = 15000;

// Whether the calling library thread is asked to stop. A pass over very many files takes minutes; a
// stop would finally cancel it by force, at a point from which it may not be able to unwind.
bool IsStopping() {
  qel::QELThread* const thread = qel::QELThread::Current();
  return thread != nullptr && thread->StopEvent().IsSignalled();
}

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};

void Delete(const std::string& path) {
  if (std::remove(path.c_str()) == -1) throw qel::CFile::CException(errno, "delete file failed");
}

}  // namespace

unsigned CLogServerEngine::BgrWorkerThread(void* engine) {
  NameThread(kWorkerName);
  return static_cast<CLogServerEngine*>(engine)->BgrWorkerThread();
}

unsigned CLogServerEngine::BgrWorkerThread() {
  do {
    KeepWithinLimits();
  } while (!qel::QELThread::Current()->StopEvent().Lock(kCheckIntervalMs));
  return 1;
}

void CLogServerEngine::KeepWithinLimits() {
  LogFileFailure([this] {
    if (RotateWhenFull()) Recycle();
  });
}

// Returns false if no file is open. The lock is held across both the check and the rotation, so
// that no other thread rotates in between.
bool CLogServerEngine::RotateWhenFull() {
  const qel::QELAutoLock lock(m_cs);
  if (!m_file.IsOpen()) return false;
  if (static_cast<std::uint32_t>(m_file.Position()) >= m_nMaxFileSize) Rotate();
  return true;
}

void CLogServerEngine::Recycle() {
  const long long now = qel::CDateTime::GetCurrentGMTTime().GetSeconds();
  std::string oldestName;
  while (!IsStopping()) {
    std::uint32_t totalSize = 0;
    auto oldestTime = static_cast<std::uint32_t>(now);
    GetLastModified(oldestName, totalSize, oldestTime);
    if (totalSize >= m_nMaxSize) {
      Log(kLogWarning, "Tavok LogServer: Directory max size reached, deleting file %s",
          oldestName.c_str());
    } else if (now - oldestTime < static_cast<long long>(m_nMaxPeriod)) {
      return;
    } else {
      Log(kLogWarning, "Tavok LogSever: File expired, deleting file %s", oldestName.c_str());
    }
    Delete(oldestName);
  }
}

void CLogServerEngine::GetLastModified(std::string& oldestName, std::uint32_t& totalSize,
                                       std::uint32_t& oldestTime) const {
  totalSize = 0;
  const std::unique_ptr<DIR, CloseDirectory> directory(::opendir(m_strDirName.c_str()));
  if (!directory) return;
  std::string path;
  while (const dirent* const entry = ::readdir(directory.get())) {
    if (std::strstr(entry->d_name, kRotatedMark) == nullptr) continue;
    path.assign(m_strDirName).append(entry->d_name);
    struct stat status {};
    status.st_ctime = kNeverOldest;  // kept if stat fails
    (void)::stat(path.c_str(), &status);
    const auto changed = static_cast<std::uint32_t>(status.st_ctime);
    if (oldestTime > changed) {
      oldestTime = changed;
      oldestName = path;
    }
    totalSize += static_cast<std::uint32_t>(status.st_size);
  }
}

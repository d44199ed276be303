#include "LogServerEngine.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Log.h"
#include "LogFileNames.h"

namespace {

constexpr mode_t kDirectoryMode = 0700;

}  // namespace

CLogServerEngine* CLogServerEngine::m_pLogServerEngine = nullptr;

CLogServerEngine::CLogServerEngine(const std::string& dirName, std::uint32_t maxFileSize,
                                   std::uint32_t maxPeriod, std::uint32_t maxSize,
                                   bool externalRotation)
    : m_strDirName(dirName),
      m_nMaxFileSize(maxFileSize),
      m_nMaxPeriod(maxPeriod),
      m_nMaxSize(maxSize),
      m_bExternalRotation(externalRotation) {
  m_pLogServerEngine = this;
}

bool CLogServerEngine::Init() {
  if (!m_strDirName.empty() && m_strDirName.back() != '/') m_strDirName += '/';
  if (::mkdir(m_strDirName.c_str(), kDirectoryMode) == -1 && errno != EEXIST) {
    Log(kLogError, "CLogServerUdp::Init failed to create directory %s error %d",
        m_strDirName.c_str(), errno);
    return false;
  }
  m_strFileName = m_strDirName + kCurrentName;
  try {
    m_file.Open(m_strFileName, "a");
    return true;
  } catch (const qel::CFile::CException&) {
    Log(kLogError, "CLogServerUdp::Init failed to open file %s ", m_strFileName.c_str());
    return false;
  }
}

void CLogServerEngine::Start() {
  if (!m_bExternalRotation) QELBeginThread(m_bgrThread[0], &BgrWorkerThread, this);
}

void CLogServerEngine::Stop() {
  if (m_bgrThread[0]) m_bgrThread[0]->Stop();
}

bool CLogServerEngine::Write(const char* text) {
  int error = 0;
  {
    const qel::QELAutoLock lock(m_cs);
    if (!m_file.IsOpen()) return false;
    const auto length = static_cast<std::uint32_t>(std::strlen(text));
    const bool written = m_file.Write(text, length) != 0;
    // Writing an empty text writes nothing and does not set errno.
    if (!written && length != 0) error = errno;
    // Only the result of the write counts; a text that cannot be flushed is lost silently.
    (void)m_file.Flush();
    if (written) return true;
  }
  // Outside the lock: a report may have to wait, and the SIGHUP handler needs the lock.
  Log(kLogError, "CLogServerEngine::Write failed Error:%d", error);
  return false;
}

void CLogServerEngine::Rotate() {
  const qel::QELAutoLock lock(m_cs);
  m_file.Close();
  const std::string rotated = m_strDirName + RotatedNameOfNow();
  (void)std::remove(rotated.c_str());
  if (std::rename(m_strFileName.c_str(), rotated.c_str()) == -1) {
    throw qel::CFile::CException(errno, "move file failed");
  }
  m_file.Open(m_strFileName, "wb");
}

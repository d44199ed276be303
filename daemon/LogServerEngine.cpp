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

// Publishes at the end of a scope whether a file is open.
class CLogServerEngine::CHasFile {
 public:
  explicit CHasFile(CLogServerEngine& engine) : m_engine(engine) {}
  CHasFile(const CHasFile&) = delete;
  CHasFile& operator=(const CHasFile&) = delete;
  ~CHasFile() { m_engine.m_bHasFile = m_engine.m_file.IsOpen(); }

 private:
  CLogServerEngine& m_engine;
};

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
  const CHasFile publish(*this);
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
  if (m_nLost != 0) {
    Log(kLogError, "CLogServerEngine::Stop flush still fails, %lu datagrams lost",
        m_nLost.exchange(0));
  }
}

bool CLogServerEngine::Write(const char* text) {
  int error = 0, flushError = 0;
  bool written = false;
  {
    const qel::QELAutoLock lock(m_cs);
    if (!m_file.IsOpen()) return false;
    const auto length = static_cast<std::uint32_t>(std::strlen(text));
    written = m_file.Write(text, length) != 0;
    // Writing an empty text writes nothing and does not set errno.
    if (!written && length != 0) error = errno;
    // The C library drops text that it could not flush.
    if (!m_file.Flush()) flushError = errno;
  }
  // Outside the lock: a report may have to wait, and the SIGHUP handler needs the lock.
  if (!written) Log(kLogError, "CLogServerEngine::Write failed Error:%d", error);
  if (flushError != 0) {
    if (m_nLost++ == 0) Log(kLogError, "CLogServerEngine::Write flush failed Error:%d", flushError);
  } else if (written && m_nLost != 0) {
    Log(kLogInfo, "CLogServerEngine::Write flush works again, %lu datagrams lost",
        m_nLost.exchange(0));
  }
  return written;
}

void CLogServerEngine::Rotate() {
  const qel::QELAutoLock lock(m_cs);
  const CHasFile publish(*this);
  m_file.Close();
  const std::string rotated = m_strDirName + RotatedNameOfNow();
  (void)std::remove(rotated.c_str());
  if (std::rename(m_strFileName.c_str(), rotated.c_str()) == -1) {
    throw qel::CFile::CException(errno, "move file failed");
  }
  m_file.Open(m_strFileName, "wb");
}

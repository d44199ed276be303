#pragma once

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <new>
#include <string>

#include "Log.h"
#include "QELFile.h"
#include "QELRefCount.h"
#include "QELSync.h"
#include "QELThread.h"

/// Owns the log directory and the one file in it that incoming text is appended to, `tmp.tavok`.
/// Rotation moves that file to "tavok_YYYYmmdd_HHMMSS.log", in UTC. A background worker rotates it
/// when it has grown to its limit and deletes the oldest rotated files.
///
/// Constructor, Init, Start and Stop are for the first thread, in this order. Any thread may call
/// Write and Rotate from Init on; a lock serialises them.
class CLogServerEngine {
 public:
  /// Sizes in bytes, the period in seconds. With `externalRotation` there is no background worker.
  /// Opens no file. Sets m_pLogServerEngine to this object.
  CLogServerEngine(const std::string& dirName, std::uint32_t maxFileSize, std::uint32_t maxPeriod,
                   std::uint32_t maxSize, bool externalRotation);
  CLogServerEngine(const CLogServerEngine&) = delete;
  CLogServerEngine& operator=(const CLogServerEngine&) = delete;

  /// Creates the directory if it is missing, and opens the current file for appending. Returns
  /// false after logging what failed.
  bool Init();

  /// Starts the background worker unless rotation is external.
  void Start();

  /// Stops the background worker, which may take up to 6 seconds. The current file stays open.
  /// Logs how many datagrams are lost if the last flush failed.
  void Stop();

  /// Appends the text unchanged and flushes it. Returns false if the text is lost: no file is open
  /// (after a failed rotation), or nothing was written, which is logged, even for an empty text.
  ///
  /// A flush that fails does not change the result, although the text is lost, at least its end.
  /// It is logged when it first fails, and when it works again, with the number of datagrams lost.
  bool Write(const char* text);

  /// Whether the current file is open, apart from the moment of a rotation: false after one that
  /// failed. Any thread; never blocks.
  bool HasFile() const { return m_bHasFile; }

  /// Whether a text that is written now can be expected to stay: a file is open, and the last flush
  /// did not fail. Any thread; never blocks.
  bool IsStoring() const { return m_bHasFile && m_nLost == 0; }

  /// Renames the current file to its rotated name, replacing a file of that name, and opens a new
  /// one. Throws CFile::CException on failure; no file is then open until a rotation succeeds.
  void Rotate();

  /// Deletes rotated files, oldest first: while their total size is at or above the limit, then
  /// while the oldest has reached the maximum age. Throws CFile::CException if a file cannot be
  /// deleted. On a library thread, returns early once that thread is asked to stop. Takes no lock:
  /// nothing writes to rotated files, and a rotation meanwhile adds a name or replaces one.
  void Recycle();

  /// Scans the directory for rotated files: all names that contain "tavok_". `totalSize` becomes
  /// the sum of their sizes in bytes, modulo 2^32. If the status of one changed before `oldestTime`
  /// (seconds since the epoch), the earliest such time and the full path replace `oldestTime` and
  /// `oldestName`. A directory that cannot be read counts as empty. An entry that cannot be
  /// examined, such as a dangling link, has size 0 and is never the oldest.
  void GetLastModified(std::string& oldestName, std::uint32_t& totalSize,
                       std::uint32_t& oldestTime) const;

  /// The body of the background worker: checks at once, then every 15 seconds.
  unsigned BgrWorkerThread();
  static unsigned BgrWorkerThread(void* engine);

  /// The engine constructed last, for the SIGHUP handler.
  static CLogServerEngine* m_pLogServerEngine;

 private:
  class CHasFile;

  bool RotateWhenFull();
  void KeepWithinLimits();

  std::string m_strFileName;  // full path of the current file
  std::string m_strDirName;   // with a trailing slash from Init on
  const std::uint32_t m_nMaxFileSize;
  const std::uint32_t m_nMaxPeriod;
  const std::uint32_t m_nMaxSize;
  const bool m_bExternalRotation;
  CRefCount<qel::QELThread> m_bgrThread[2];  // the second stays empty
  qel::CFile m_file;
  qel::QELCriticalSection m_cs;  // guards m_file
  std::atomic<bool> m_bHasFile = false;
  std::atomic<unsigned long> m_nLost = 0;  // datagrams lost since a flush first failed
};

/// Runs `step` and logs a CFile::CException or std::bad_alloc that it throws, as "CLogServerEngine
/// file system error:%d". Other exceptions pass on.
template <class Step>
void LogFileFailure(Step step) {
  const auto log = [](int error) {
    Log(kLogError, "CLogServerEngine file system error:%d", error);
  };
  try {
    step();
  } catch (const qel::CFile::CException& e) {
    log(e.m_nError);
  } catch (const std::bad_alloc&) {
    log(ENOMEM);
  }
}

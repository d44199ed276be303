#pragma once

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
/// Constructor, Init, Start and Stop belong to the first thread, in this order. Write and Rotate
/// may be called by any thread from Init on; a lock serialises them.
class CLogServerEngine {
 public:
  /// Sizes in bytes, the period in seconds. With `externalRotation` there is no background worker.
  /// Touches no file. Makes m_pLogServerEngine point here.
  CLogServerEngine(const std::string& dirName, std::uint32_t maxFileSize, std::uint32_t maxPeriod,
                   std::uint32_t maxSize, bool externalRotation);
  CLogServerEngine(const CLogServerEngine&) = delete;
  CLogServerEngine& operator=(const CLogServerEngine&) = delete;

  /// Creates the directory, if it is missing, and opens the current file, which continues what an
  /// earlier run has left. Returns false after logging what failed.
  bool Init();

  /// Starts the background worker, unless rotation is external.
  void Start();

  /// Stops the background worker; up to 6 seconds. The current file stays open.
  void Stop();

  /// Appends the text, as it is, and flushes it to the file. Returns false when it was lost: no
  /// file is open (after a failed rotation), nothing could be written, or the text is empty (both
  /// are logged). A flush that fails is not noticed.
  bool Write(const char* text);

  /// Moves the current file to its rotated name, replacing a file of that name, and opens a new
  /// one. Throws CFile::CException when that fails; no file is then open until a rotation succeeds.
  void Rotate();

  /// Deletes rotated files, oldest first: while their total size is at the limit or above, then
  /// while the oldest has reached the maximum age. Throws CFile::CException when a file cannot be
  /// deleted. On a library thread, ends early when that is asked to stop. Takes no lock: nothing
  /// else touches rotated files.
  void Recycle();

  /// Scans the directory for rotated files: all names that contain "tavok_". `totalSize` becomes
  /// the sum of their sizes in bytes, modulo 2^32. When one changed its status before `oldestTime`
  /// (seconds since the epoch), the earliest such time and the full path replace `oldestTime` and
  /// `oldestName`. A directory that cannot be read counts as empty. What cannot be examined, such
  /// as a dangling link, counts as empty and is never the oldest.
  void GetLastModified(std::string& oldestName, std::uint32_t& totalSize,
                       std::uint32_t& oldestTime) const;

  /// The body of the background worker: one check at once, then one every 15 seconds.
  unsigned BgrWorkerThread();
  static unsigned BgrWorkerThread(void* engine);

  /// The engine constructed last, for the SIGHUP handler.
  static CLogServerEngine* m_pLogServerEngine;

 private:
  bool RotateWhenFull();
  void KeepWithinLimits();

  std::string m_strFileName;  // of the current file, with its directory
  std::string m_strDirName;   // ends in a slash from Init on
  const std::uint32_t m_nMaxFileSize;
  const std::uint32_t m_nMaxPeriod;
  const std::uint32_t m_nMaxSize;
  const bool m_bExternalRotation;
  CRefCount<qel::QELThread> m_bgrThread[2];  // the second stays empty
  qel::CFile m_file;
  qel::QELCriticalSection m_cs;  // guards m_file
};

/// Runs a step of the engine's and logs what the file system, or a lack of memory, did to it. Other
/// exceptions pass.
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

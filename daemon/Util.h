#pragma once

#include <cerrno>
#include <new>
#include <string>

#include "QELFile.h"

/// Small services of the daemon: its report channel, its pid file, the directory for temporary
/// files. None of these throws for an input/output failure.

/// Priorities of Log, those of the system log.
inline constexpr int kLogError = 3;
inline constexpr int kLogWarning = 4;
inline constexpr int kLogInfo = 6;

/// Reports to standard error and to the system log, chomped. One that takes nothing (a pipe or a
/// system logger that nobody reads) is waited for, for 100 ms, and then does not get the message.
/// Keeps 20478 characters. Any thread may call it; it takes no lock of its own, does not allocate
/// and never fails visibly.
void Log(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

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

/// Removes one LF and then one CR from the end of a counted text. Looks at the byte before the text
/// when the text is empty, which must not be one of the two.
void Chomp(char* text, int& length);

/// The system log, opened once, before main runs, as "[tavok]" with the process id in facility
/// local0. Not closed: the end of the process does that.
class CSysLog {
 public:
  CSysLog();

  bool m_bNoSyslog = false;                  // Log writes to standard error only
  const std::string m_strIdent = "[tavok]";  // the system log keeps a pointer to it
};

extern CSysLog g_syslog;

/// Writes the id of this process to the pid file, digits alone. A file that cannot be opened is
/// logged; a full disk is not noticed.
void updatepidfile(const std::string& path);

/// Sends a signal to the process that the pid file names, and waits 5 seconds for it to end.
/// Returns at once, silently, when there is no such file or it is empty. The number is taken as it
/// is: 0 and negative numbers signal process groups.
void killfromfile(int signal, const std::string& path);

/// $TMPDIR if that is a directory, else "/tmp" if that is one, else an empty text. No slash is
/// appended.
std::string GetTempPath();

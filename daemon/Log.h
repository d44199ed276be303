#pragma once

#include <string>

/// Priorities of Log, those of the system log.
inline constexpr int kLogError = 3;
inline constexpr int kLogWarning = 4;
inline constexpr int kLogInfo = 6;

/// Reports to standard error and to the system log, chomped. One that takes nothing (a pipe or a
/// system logger that nobody reads) is waited for, for 100 ms, and then does not get the message.
/// Keeps 20478 characters. Any thread may call it; it takes no lock of its own, does not allocate
/// and never fails visibly.
void Log(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

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

#pragma once

#include <string>

/// Priorities of Log: those of the system log.
inline constexpr int kLogError = 3;
inline constexpr int kLogWarning = 4;
inline constexpr int kLogInfo = 6;

/// Writes one chomped line to standard error and one message to the system log. The text is cut to
/// 20478 characters. Waits at most about 100 ms for each of the two: a reader that takes nothing in
/// that time does not get the message. Of a line longer than its pipe has room for, it may get only
/// the first part, without a line end, or other lines between the parts. The system log does not
/// get a message while the process can open no descriptor. Any thread may call it. It takes no lock
/// of its own, allocates nothing, and reports no failure. Interrupts its own thread with SIGURG,
/// which thus has a handler from then on.
void Log(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Removes one LF, then one CR, from the end of a text of `length` characters. The byte before the
/// text is read if the text is empty or becomes so, and must then be neither of the two.
void Chomp(char* text, int& length);

/// The system log. Opened once, before main runs, with the ident "[tavok]", the process id and
/// facility local0; never closed. Log sends its messages by itself, in the form that the C library
/// gives them after this openlog.
class CSysLog {
 public:
  CSysLog();

  bool m_bNoSyslog = false;                  // true: Log writes to standard error only
  const std::string m_strIdent = "[tavok]";  // the C library keeps a pointer to it
};

extern CSysLog g_syslog;

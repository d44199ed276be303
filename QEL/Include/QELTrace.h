#pragma once

#include <atomic>

/// The library's own diagnostics: two channels to separate collector processes, and a log hook.
///
/// Each message is one datagram to a Unix-domain datagram socket at a fixed path. It is lost,
/// silently, when no collector is there or its queue is full: nothing here waits for a collector.
/// Nothing throws but std::bad_alloc. One failure is reported, on standard error: a channel's
/// socket that cannot be made. Any thread may call these functions unless said otherwise, once main
/// runs.
///
/// A datagram is: 1 byte of value 1; the process id and the calling thread's id (the low 32 bits of
/// its handle), 4 bytes each, little-endian; the text, ended by one newline and one NUL.
namespace qel {

class QELSocket;

/// The channels: trace to /tmp/ZABKTraceCon, diag to /tmp/ZABKDiagCon.
enum eTraceOrDiag { eTrace = 0, eDiag = 1 };

/// Formats as printf does, keeping 20479 characters, and sends the text on the trace channel.
void QelTrace(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The same for wide text, of which 2047 characters are kept; it is sent as UTF-8.
void QelTrace(const wchar_t* format, ...);

/// Formats as QelTrace does, sends the text on the trace channel, then on the diag channel, then
/// hands `level` and the text to the log hook, if there is one.
void QelLog(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Traces a failed assertion. `expression` and `file` are NUL-terminated texts. Does not stop the
/// program.
void _QelAssert(const void* expression, const void* file, unsigned line);

/// True when a trace collector listens at /tmp/ZABKTraceCon_Active.
bool QelIsTraceOn();

/// The log hook. It is called on the logging thread with the level and the text of each QelLog
/// message.
using QelLogFunc = void (*)(int level, const char* text);

/// Installs the log hook, or removes it with null. Call it only before other threads start.
void QelSetLogFunc(QelLogFunc func);

/// Makes a channel's socket, once per process; returns when it is there. Of several threads that
/// come first, one does it and the others poll for it every 10 ms, for 100 s at most.
void InitTraceOrDiag(eTraceOrDiag channel);

/// Sends a text on a channel that has been set up; without a socket, does nothing.
void _TraceOrDiag(const char* text, eTraceOrDiag channel);

extern std::atomic<QelLogFunc> g_QEL_log_func;

/// Set-up state of each channel: 0 not started, 1 being set up, 2 ready.
extern std::atomic<long> g_lInitTrace;
extern std::atomic<long> g_lInitDiag;

/// Descriptor of each channel's socket; 0 means that the channel sends nothing.
extern std::atomic<int> g_nTraceSocket;
extern std::atomic<int> g_nDiagSocket;

extern QELSocket g_TraceActiveSocket;
extern QELSocket g_DiagActiveSocket;

}  // namespace qel

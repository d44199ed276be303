#pragma once

/// Rotates the log file, if there is an engine. A failed rotation is logged; errno is kept.
///
/// As a signal handler, once there is an engine, it must run on the first thread only, and only
/// where that thread holds no lock and is inside no stream or heap function: the worker threads
/// have the signal blocked, and so has the first thread wherever that matters. Any thread may call
/// it as a function.
void sighup(int signal);

/// Sets g_bExitProgram.
void sigterm(int signal);

/// Install the handlers. A failure is logged.
void InstallSigHup();
void InstallSigTerm();

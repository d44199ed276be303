#pragma once

/// Rotates the log file, if there is an engine. A failed rotation is logged; errno is kept.
///
/// Must run on the first thread only, and only where that thread holds no lock and is inside no
/// stream or heap function: the worker threads have the signal blocked, and so has the first thread
/// wherever that matters.
void sighup(int signal);

/// Sets g_bExitProgram.
void sigterm(int signal);

/// Install the handlers. A failure is logged.
void InstallSigHup();
void InstallSigTerm();

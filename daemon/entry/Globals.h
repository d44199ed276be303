#pragma once

#include <atomic>
#include <string>

#include "QELRefCount.h"
#include "Settings.h"

/// What the entry, the command line and the signal handlers share. Written by the first thread
/// alone.

/// Path of the configuration file. Relative paths are relative to the working directory.
extern std::string g_sConfFile;

/// Identifier of the SysV semaphore set whose first semaphore is raised when the daemon is up.
extern int g_nSemId;

/// The settings; empty until main makes them, and loaded before anything uses them. Released when
/// the process exits.
extern CRefCount<CSettings> g_pSettings;

/// Set by SIGTERM: the daemon is to stop.
extern std::atomic<bool> g_bExitProgram;

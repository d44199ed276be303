#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "Settings.h"

/// Looks for a tavok of these settings when no pid file leads to it: one that was started with
/// their file, and has the current file or the socket open. `doubt` becomes the reason why there
/// may be one although none is found: its descriptors, or all processes of other users, are hidden
/// from the caller; otherwise it stays empty.
std::optional<pid_t> FindByUse(const CSettings& settings, std::string& doubt);

/// Whether a tavok was started with this configuration that has not opened its file yet, or has
/// none.
bool IsOneBeginning(const CSettings& settings);

/// Looks for another tavok than `own` that writes to the directory of these settings.
std::optional<pid_t> FindOtherWriter(const CSettings& settings, pid_t own);

/// Whether a tavok is certainly that of another configuration.
bool IsAnothers(pid_t pid, const CSettings& settings);

/// The configuration that a tavok was started with, if its descriptors can be seen and tell that it
/// is another one, which leads elsewhere; else empty.
std::string OtherConfigOf(pid_t pid, const CSettings& settings);

/// Whether a process has the socket of these settings, or one of their UDP port. Throws CFailure if
/// its descriptors are hidden.
bool HasSocket(pid_t pid, const CSettings& settings);

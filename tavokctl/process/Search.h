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

/// Looks for another tavok than `own` that writes to the directory of these settings.
std::optional<pid_t> FindOtherWriter(const CSettings& settings, pid_t own);

/// Whether a tavok is certainly that of another configuration.
bool IsAnothers(pid_t pid, const CSettings& settings);

/// Whether a process has the socket of these settings, or one of their UDP port. Throws CFailure if
/// its descriptors are hidden.
bool HasSocket(pid_t pid, const CSettings& settings);

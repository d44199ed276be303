#pragma once

#include <sys/types.h>

#include <optional>

#include "Settings.h"

/// Looks for a tavok that has the current file or the socket of these settings open, for when no
/// pid file leads to it. Throws CFailure if one may have, but its descriptors are hidden from the
/// caller.
std::optional<pid_t> FindByUse(const CSettings& settings);

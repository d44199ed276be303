#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "Settings.h"

/// Starts tavok with the configuration of these settings and further options, in a session of its
/// own and in the current working directory, and returns its process id when it has raised its
/// start-up semaphore. Its output until then goes to standard error; later messages go to the
/// system log only.
///
/// Throws CFailure, with the last lines of that output, if tavok ends before it is up. If it takes
/// longer than `timeout` seconds, if its pid file does not name it then, or if this process gets
/// SIGINT, SIGTERM or SIGHUP, ends tavok and throws CFailure. Removes the semaphore set in any
/// case: a tavok that is killed would leave it. See Command.h for the program.
pid_t Launch(const CSettings& settings, const std::vector<std::string>& options, unsigned timeout);

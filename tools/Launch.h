#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

/// Starts tavok with the configuration and further options, in a session of its own and the present
/// working directory, and returns its process id when it has raised its start-up semaphore. What it
/// says until then goes to the standard error; later it is heard in the system log only.
///
/// Throws CFailure, with what tavok said last, when it ends before it is up. When it takes longer
/// than `timeout`, or this process is told to end (SIGINT, SIGTERM, SIGHUP), tavok is ended and
/// CFailure thrown. No semaphore set is left in any case: tavok removes its own at its stop only,
/// and would leave it when it is killed, so it is gone when this returns.
///
/// tavok is taken from the directory of the running program, or from ../sbin of it.
pid_t Launch(const std::string& config, const std::vector<std::string>& options,
             std::chrono::seconds timeout);

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// Starts tavok with the configuration and further options, in a session of its own and in the
/// current working directory, and returns its process id when it has raised its start-up semaphore.
/// Its output until then goes to standard error; later messages go to the system log only.
///
/// Throws CFailure, with the last lines of that output, if tavok ends before it is up. If it takes
/// longer than `timeout` seconds, or this process gets SIGINT, SIGTERM or SIGHUP, ends tavok and
/// throws CFailure. Removes the semaphore set in any case: a tavok that is killed would leave it.
/// See Command.h for the program.
pid_t Launch(const std::string& config, const std::vector<std::string>& options, unsigned timeout);

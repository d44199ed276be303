#pragma once

#include <string>
#include <vector>

/// Turns this process into a tavok with the configuration and further options, and a new semaphore
/// set, as a service manager expects it: with this process's id, descriptors and environment. Where
/// standard error leads to systemd's journal, tavok gets /dev/null for it: its messages come there
/// by the system log.
///
/// Does not return; throws CFailure if the program cannot be found or run. See Command.h for the
/// program.
[[noreturn]] void BecomeTavok(const std::string& config, const std::vector<std::string>& options);

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// What a container's first process is spared otherwise: one gets no signal that it does not
/// handle, so that SIGTERM and SIGHUP have to wait for tavok's handlers.
void PrepareForContainer();

/// The mode that a socket is to have; none for an empty path.
struct CSocketMode {
  std::string path;
  mode_t mode = 0;
};

/// Turns this process into a tavok with the configuration and further options, and a new semaphore
/// set, as a service manager expects it: with this process's id, descriptors and environment. Where
/// standard error leads to systemd's journal, tavok gets /dev/null for it: its messages come there
/// by the system log. Whoever becomes its child leaves no zombie.
///
/// A child sets the mode of the socket as soon as tavok is up, and ends.
///
/// Does not return; throws CFailure if the program cannot be found or run. See Command.h for the
/// program.
[[noreturn]] void BecomeTavok(const std::string& config, const std::vector<std::string>& options,
                              const CSocketMode& socket);

#pragma once

#include <sys/types.h>

#include <string>

#include "Settings.h"

/// The service that runs tavok with the default configuration: tavok.service and the socket that
/// systemd holds for it, tavok.socket.
inline constexpr const char* kServiceUnit = "tavok.service";
inline constexpr const char* kSocketUnit = "tavok.socket";

/// Whether that service is what a command for this configuration has to act on: it is the default
/// one, systemd has booted the machine, the units are installed with this program, and this process
/// is not one of the service's itself.
bool IsServiceOf(const std::string& config);

/// Whether a process is one of the service's, by its control group.
bool IsInTheService(pid_t pid);

/// Starts the service, anew if it runs; its socket is kept meanwhile. First stops a tavok with
/// these settings that the service did not start, waiting at most `seconds` for its end. Prints the
/// command of systemctl that it runs; throws CFailure if that fails.
void RestartService(const CSettings& settings, unsigned seconds);

/// Has the service rotate. Prints and throws as RestartService does.
void RotateService();

/// Stops the socket, so that senders are refused, and then the service, which stores what is
/// queued. Prints and throws as RestartService does.
void StopService();

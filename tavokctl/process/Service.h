#pragma once

#include <string>

/// The service that runs tavok with the default configuration: tavok.service and the socket that
/// systemd holds for it, tavok.socket.

/// Whether that service is what a command for this configuration has to act on: it is the default
/// one, systemd has booted the machine, the units are installed with this program, and this process
/// is not one of the service's itself.
bool IsServiceOf(const std::string& config);

/// Starts the service, anew if it runs; its socket is kept meanwhile. First stops a tavok that the
/// pid file names but the service did not start, waiting at most `seconds` for its end. Prints the
/// command of systemctl that it runs; throws CFailure if that fails.
void RestartService(const std::string& pidFile, unsigned seconds);

/// Stops the socket, so that senders are refused, and then the service, which stores what is
/// queued. Prints and throws as RestartService does.
void StopService();

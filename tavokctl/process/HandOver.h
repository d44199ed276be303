#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Settings.h"

/// Makes room for a tavok that is about to start: stops in order the one of these settings, if it
/// runs, and removes a pid file that names none, since tavok would signal whatever process has that
/// id and wait for five seconds. Prints what it has done. Throws CFailure if the old one still runs
/// after `seconds` or is the service's, or if the pid file holds no process id.
///
/// Throws CFailure before all that if the new one could not be found again, would write where
/// another tavok does or take its socket from another program; and if one runs, so that it is not
/// stopped in vain, if that is another user's, or if the new one could not write or bind. `isHeld`:
/// a service manager has the socket and passes it on.
void MakeRoom(const CSettings& settings, unsigned seconds, bool isHeld);

/// The same for the service, whose own process is left to systemd, as is its socket.
void MakeRoomForService(const CSettings& settings, unsigned seconds);

/// Stops the tavok of these settings, waits for its end and prints that. Throws CFailure if none
/// runs, if it still runs after `seconds`, or if it is the service's, which would start another.
void StopInstance(const CSettings& settings, unsigned seconds);

/// Makes room, launches a tavok (see Launch.h) and prints that it is up: less than a tenth of a
/// second without reception. Waits for another tavokctl that does the same.
///
/// Throws CFailure, and leaves no tavok behind, if the new one could not be found again by these
/// settings, or if its socket would be taken from another program.
void HandOver(const CSettings& settings, const std::vector<std::string>& options, unsigned timeout);

/// Keeps other tavokctl from starting or rotating a tavok of these settings meanwhile; see Lock.h.
std::unique_ptr<class CLock> LockOf(const CSettings& settings, unsigned seconds);

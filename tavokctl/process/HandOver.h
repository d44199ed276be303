#pragma once

#include <string>
#include <vector>

/// Makes room for a tavok that is about to start: stops in order the one that the pid file names,
/// if it runs, and removes a pid file that names none, since tavok would signal whatever process
/// has that id and wait for five seconds. Prints what it has done. Throws CFailure if the old one
/// still runs after `seconds`, or if the pid file holds no process id.
void MakeRoom(const std::string& pidFile, unsigned seconds);

/// Makes room, launches a tavok (see Launch.h) and prints that it is up: less than a tenth of a
/// second without reception. Waits for another tavokctl that does the same with this file.
void HandOver(const std::string& pidFile, const std::string& config,
              const std::vector<std::string>& options, unsigned timeout);

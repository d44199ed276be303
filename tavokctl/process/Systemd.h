#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

/// What systemd knows and does, by way of systemctl.

/// Whether systemd has booted the machine.
bool IsSystemdThere();

/// Runs systemctl with these words, on the standard streams of this process, and returns its exit
/// status. Throws CFailure, "run systemctl: ...".
int Systemctl(std::vector<std::string> words);

/// A property of a unit, such as "/var/log/x /srv" of ReadWritePaths=; empty if there is none, or
/// if systemctl cannot be run.
std::string UnitProperty(const std::string& unit, const std::string& property);

/// The service whose main process this is, an empty text if systemd does not hold it; empty if that
/// cannot be told, as to a user to whom systemd does not speak.
std::optional<std::string> UnitOf(pid_t pid);

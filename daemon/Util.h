#pragma once

#include <string>

#include "Log.h"

/// The daemon's utilities: its reports (Log.h), its pid file, the directory for temporary files.
/// None of these throws for an input/output failure.

/// Writes the id of this process to the pid file, as digits only. A failure to open the file is
/// logged; a full disk is not noticed.
void updatepidfile(const std::string& path);

/// Sends a signal to the process that the pid file names, then sleeps 5 seconds, whether or not
/// that process exists. Returns at once, silently, if the file is empty or cannot be read. The
/// number is not checked: 0 and negative numbers signal process groups.
void killfromfile(int signal, const std::string& path);

/// Returns $TMPDIR if that is a directory, else "/tmp" if that is one, else an empty string. No
/// slash is appended.
std::string GetTempPath();

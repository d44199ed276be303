#pragma once

#include <string>

/// Writes the id of this process to the pid file, digits alone. A file that cannot be opened is
/// logged; a full disk is not noticed.
void updatepidfile(const std::string& path);

/// Sends a signal to the process that the pid file names, and waits 5 seconds for it to end.
/// Returns at once, silently, when there is no such file or it is empty. The number is taken as it
/// is: 0 and negative numbers signal process groups.
void killfromfile(int signal, const std::string& path);

/// $TMPDIR if that is a directory, else "/tmp" if that is one, else an empty text. No slash is
/// appended.
std::string GetTempPath();

#pragma once

#include <ctime>
#include <string>

/// Reads a point in time from the command line; `what` is the option it belongs to. It is a time in
/// UTC, "2026-11-22", "2026-11-22 13:05" or "2026-11-22 13:05:09", in which T may stand for the
/// blank; seconds since 1970, "@1795359909"; or an age, "90s", "10min", "2h" or "3d", before `now`.
/// Throws CWrongUse for anything else.
std::time_t ReadPointInTime(const std::string& what, const std::string& text, std::time_t now);

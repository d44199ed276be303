#pragma once

#include <cstdint>
#include <string>

/// The variables by which a service manager talks to the process that it starts.

/// Removes a variable from the environment and returns its value; empty if it is not set. To be
/// called before any other thread starts.
std::string TakeVariable(const char* name);

/// The number that `text` is, in decimal digits alone. Returns 0 for any other text, and for a
/// number that does not fit.
std::uint64_t NumberOf(const std::string& text);

/// Whether a variable that names the process it is meant for names this one.
bool IsThisProcess(const std::string& pid);

#pragma once

#include <string>

#include "QELRefCount.h"
#include "Settings.h"

/// The configuration that is used when no other is named.
inline constexpr const char* kDefaultConfig = TAVOK_CONFIG;

/// Reads the settings as tavok does at its start. Throws CFailure when tavok would not start with
/// the file: it cannot be read, or has no section [LogServer].
CRefCount<CSettings> ReadSettings(const std::string& path);

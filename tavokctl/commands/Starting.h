#pragma once

#include <string>
#include <vector>

/// What start and restart do: starts a tavok with the configuration, or its service, after stopping
/// the one that runs. Throws CFailure; the text ends with what `check` warns of, which may be why.
void StartAnew(const std::string& config, const std::vector<std::string>& options,
               unsigned timeout);

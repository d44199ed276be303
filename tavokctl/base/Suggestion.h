#pragma once

#include <string>
#include <vector>

/// "; did you mean X?", of the one of `known` that is nearest to a word, whatever the letters'
/// case; empty if even that differs in more than half of its letters.
std::string Suggestion(const std::string& word, const std::vector<std::string>& known);

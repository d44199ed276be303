#include "config/Warnings.h"

#include <algorithm>

std::vector<CWarning> FindWarnings(const std::string& text, const CSettings& settings) {
  std::vector<CWarning> warnings;
  const auto lines = ReadConfigLines(text);
  const auto effective = EffectiveLines(lines);
  if (text.find('\0') != std::string::npos) {
    warnings.push_back({0, "the file contains a NUL byte: the rest of it is ignored"});
  }
  WarnOfLines(lines, warnings);
  WarnOfNumbers(effective, settings, warnings);
  WarnOfValues(effective, settings, warnings);
  std::stable_sort(warnings.begin(), warnings.end(),
                   [](const CWarning& a, const CWarning& b) { return a.line < b.line; });
  return warnings;
}

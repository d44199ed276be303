#include "config/Warnings.h"

#include <algorithm>

#include "QELString.h"
#include "base/Files.h"

std::vector<CWarning> FindWarnings(const CSettings& settings, const CStarter& starter) {
  const std::string text = ReadText(settings.m_strConfFile);
  std::vector<CWarning> warnings;
  const auto lines = ReadConfigLines(text);
  const auto effective = EffectiveLines(lines);
  if (text.find('\0') != std::string::npos) {
    warnings.push_back({0, "the file contains a NUL byte: the rest of it is ignored"});
  }
  WarnOfLines(lines, warnings);
  WarnOfNumbers(effective, settings, warnings);
  WarnOfSocket(effective, settings, starter, warnings);
  WarnOfFiles(effective, settings, starter, warnings);
  std::stable_sort(warnings.begin(), warnings.end(),
                   [](const CWarning& a, const CWarning& b) { return a.line < b.line; });
  return warnings;
}

std::string Line(const CSettings& settings, const CWarning& warning) {
  const std::string line = warning.line == 0 ? "" : qel::QELSPrintf(":%u", warning.line);
  return settings.m_strConfFile + line + ": warning: " + warning.text;
}

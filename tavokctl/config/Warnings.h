#pragma once

#include <string>
#include <vector>

#include "Settings.h"
#include "config/ConfigLines.h"
#include "config/Starter.h"

/// What tavok accepts silently although an operator hardly wants it, and what keeps it from
/// starting.

/// A warning; line 0 if it concerns no particular line.
struct CWarning {
  unsigned line;
  std::string text;
};

/// All warnings about the configuration of these settings, in the order of its lines. Looks at the
/// file system with the rights of this process, which are the starter's, and changes nothing.
/// Throws CFailure if the file cannot be read.
std::vector<CWarning> FindWarnings(const CSettings& settings, const CStarter& starter);

/// A warning as it is printed: "FILE:LINE: warning: TEXT".
std::string Line(const CSettings& settings, const CWarning& warning);

/// The parts of that. About lines that are ignored, overridden or misread:
void WarnOfLines(const std::vector<CConfigLine>& lines, std::vector<CWarning>& warnings);

/// About effective lines whose number or flag does not mean what it seems to:
void WarnOfNumbers(const std::vector<CConfigLine>& lines, const CSettings& settings,
                   std::vector<CWarning>& warnings);

/// About effective values: the socket, and the files and their limits.
void WarnOfSocket(const std::vector<CConfigLine>& lines, const CSettings& settings,
                  const CStarter& starter, std::vector<CWarning>& warnings);
void WarnOfFiles(const std::vector<CConfigLine>& lines, const CSettings& settings,
                 const CStarter& starter, std::vector<CWarning>& warnings);

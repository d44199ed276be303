#pragma once

#include <string>
#include <vector>

#include "Settings.h"
#include "config/ConfigLines.h"

/// What tavok accepts silently although an operator hardly wants it.

/// A warning; line 0 if it concerns no particular line.
struct CWarning {
  unsigned line;
  std::string text;
};

/// All warnings about a configuration, in the order of its lines: `text` is the file, `settings` is
/// what tavok makes of it. Looks at the file system as the calling user and changes nothing.
std::vector<CWarning> FindWarnings(const std::string& text, const CSettings& settings);

/// The three parts of that. About lines that are ignored, overridden or misread:
void WarnOfLines(const std::vector<CConfigLine>& lines, std::vector<CWarning>& warnings);

/// About effective lines whose number or flag does not mean what it seems to.
void WarnOfNumbers(const std::vector<CConfigLine>& lines, const CSettings& settings,
                   std::vector<CWarning>& warnings);

/// About effective values: paths, addresses, and sizes that do not go together.
void WarnOfValues(const std::vector<CConfigLine>& lines, const CSettings& settings,
                  std::vector<CWarning>& warnings);

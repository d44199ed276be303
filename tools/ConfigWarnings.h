#pragma once

#include <string>
#include <vector>

#include "ConfigLines.h"
#include "Settings.h"

/// What tavok takes without a word and an operator hardly wants. These are all that `tavokctl
/// check` warns of.

/// The eight keys of section [LogServer].
extern const std::vector<std::string> kSettingKeys;

/// One warning; line 0 when it is about no line.
struct CWarning {
  unsigned line;
  std::string text;
};

/// About the text: lines that are ignored, replaced or mistaken for something else.
void WarnOfLines(const std::vector<CConfigLine>& lines, std::vector<CWarning>& warnings);

/// The lines that count: of each key the last one in the last section [LogServer].
std::vector<CConfigLine> LinesThatCount(const std::vector<CConfigLine>& lines);

/// About what is written as a number or a flag, beside what tavok makes of it. `lines` are those
/// that count.
void WarnOfNumbers(const std::vector<CConfigLine>& lines, const CSettings& settings,
                   std::vector<CWarning>& warnings);

/// About the effective values: paths, addresses, sizes that do not go together. Looks at the file
/// system as the calling user, changes nothing.
void WarnOfValues(const std::vector<CConfigLine>& lines, const CSettings& settings,
                  std::vector<CWarning>& warnings);

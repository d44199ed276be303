#pragma once

#include <string>
#include <vector>

/// The section that tavok reads.
inline constexpr const char* kSection = "LogServer";

/// Compares names of sections and keys as tavok does, whatever their case.
bool IsSameKey(const std::string& a, const std::string& b);

/// A line of a configuration file that is neither blank nor a comment, as tavok's own parser reads
/// it.
struct CConfigLine {
  unsigned number;      // from 1
  bool isHeader;        // then `key` is the section's name
  bool hasValue;        // it contains a '='
  std::string section;  // that the line belongs to; also empty before the first header
  bool inSection;
  std::string key;
  std::string value;
};

/// All of them, in the file's order, up to a NUL: tavok reads no further, either.
std::vector<CConfigLine> ReadConfigLines(const std::string& text);

/// The lines that take effect: of each key the last one in the last section [LogServer].
std::vector<CConfigLine> EffectiveLines(const std::vector<CConfigLine>& lines);

#pragma once

#include <string>
#include <vector>

/// A line of a configuration file that is no blank and no comment, as tavok's own parser reads it.
struct CConfigLine {
  unsigned number;      // from 1
  bool isHeader;        // then `key` is the section's name
  bool hasValue;        // there is a '='
  std::string section;  // that it stands in; empty, too, before the first header
  bool inSection;
  std::string key;
  std::string value;
};

/// All of them, in the file's order. What is behind a NUL is not read, as in tavok.
std::vector<CConfigLine> ReadConfigLines(const std::string& text);

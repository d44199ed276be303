#include "config/ConfigLines.h"

#include <strings.h>

#include <sstream>

#include "QELIniFile.h"

namespace {

// The section that a line is parsed in: without one, the parser would ignore it.
constexpr const char* kOuter = "outer";

// Gives one line alone to the parser. Returns false if the parser ignores it.
bool ReadLine(const std::string& text, CConfigLine& line) {
  qel::CIniFile header;
  header.ParseText(text);
  line.isHeader = !header.Sections().empty();
  if (line.isHeader) {
    line.key = header.Sections().begin()->first;
    return true;
  }
  qel::CIniFile entry;
  entry.ParseText(std::string("[") + kOuter + "]\n" + text);
  const auto& entries = entry.FindSection(kOuter)->Entries();
  if (entries.empty()) return false;
  line.key = entries.begin()->first;
  line.value = entries.begin()->second;
  line.hasValue = text.find('=') != std::string::npos;
  return true;
}

}  // namespace

bool IsSameKey(const std::string& a, const std::string& b) {
  return ::strcasecmp(a.c_str(), b.c_str()) == 0;
}

std::vector<CConfigLine> ReadConfigLines(const std::string& text) {
  std::vector<CConfigLine> lines;
  CConfigLine line{};
  std::istringstream stream(text.c_str());
  for (std::string one; std::getline(stream, one);) {
    ++line.number;
    if (!ReadLine(one, line)) continue;
    if (line.isHeader) {
      line.inSection = true;
      line.section = line.key;
    }
    lines.push_back(line);
  }
  return lines;
}

std::vector<CConfigLine> EffectiveLines(const std::vector<CConfigLine>& lines) {
  std::vector<CConfigLine> effective;
  for (const CConfigLine& line : lines) {
    if (!IsSameKey(line.section, kSection)) continue;
    if (line.isHeader) {
      effective.clear();
      continue;
    }
    std::erase_if(effective,
                  [&line](const auto& before) { return IsSameKey(before.key, line.key); });
    effective.push_back(line);
  }
  return effective;
}

#include "ConfigLines.h"

#include <cstring>
#include <sstream>

#include "QELIniFile.h"

namespace {

// No header can hold a line end, so no line can replace this one.
constexpr const char* kOuter = "outer";

// One line, given to the parser alone. Returns false when it ignores it.
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

#include "QELIniFile.h"

#include <algorithm>
#include <cstddef>

namespace qel {
namespace {

constexpr const char* kBlanks = " \t";

std::string Trimmed(const std::string& text) {
  const std::size_t last = text.find_last_not_of(kBlanks);
  if (last == std::string::npos) return {};
  const std::size_t first = text.find_first_not_of(kBlanks);
  return text.substr(first, last + 1 - first);
}

// Takes one line off the text at `at`, without its LF and its CRs.
std::string TakeLine(const char*& at) {
  std::string line;
  for (; *at != '\0' && *at != '\n'; ++at) {
    if (*at != '\r') line.push_back(*at);
  }
  if (*at == '\n') ++at;
  return line;
}

bool IsHeader(const std::string& line) { return line.front() == '[' && line.back() == ']'; }

}  // namespace

const std::string* CIniFile::CSection::FindValue(const std::string& key) const {
  const auto found = m_entries.find(key);
  return found == m_entries.end() ? nullptr : &found->second;
}

bool CIniFile::ParseText(const std::string& text) {
  CRefCount<CSection> current;  // empty before the first header
  for (const char* at = text.c_str(); *at != '\0';) ParseLine(Trimmed(TakeLine(at)), current);
  return true;
}

CRefCount<CIniFile::CSection> CIniFile::FindSection(const std::string& name) const {
  const auto found = m_sections.find(name);
  return found == m_sections.end() ? CRefCount<CSection>() : found->second;
}

void CIniFile::ParseLine(const std::string& line, CRefCount<CSection>& current) {
  if (line.empty() || line.front() == '#') return;
  if (IsHeader(line)) {
    current = new CSection;
    m_sections[Trimmed(line.substr(1, line.size() - 2))] = current;
  } else if (current) {
    const std::size_t equals = line.find('=');
    const bool hasValue = equals != std::string::npos;
    std::string& value = current->m_entries[Trimmed(line.substr(0, equals))];
    value = hasValue ? Trimmed(line.substr(equals + 1)) : std::string();
  }
}

bool operator==(const CIniFile& a, const CIniFile& b) {
  return std::equal(a.Sections().begin(), a.Sections().end(), b.Sections().begin(),
                    b.Sections().end(), [](const auto& x, const auto& y) {
                      return x.first == y.first && x.second->Entries() == y.second->Entries();
                    });
}

}  // namespace qel

#include <algorithm>
#include <map>
#include <utility>

#include "QELString.h"
#include "base/Suggestion.h"
#include "config/KnownSettings.h"
#include "config/Warnings.h"

namespace {

bool IsKnown(const std::string& key) {
  return std::any_of(kKnownSettings.begin(), kKnownSettings.end(),
                     [&](const CKnownSetting& known) { return IsSameKey(known.key, key); });
}

std::string UnknownKey(const std::string& key) {
  const std::string text = "unknown key \"" + key + "\": ignored";
  if (key[0] == ';' || key.starts_with("//")) return text + "; comments begin with #";
  if (key[0] == '[') return text + "; a section header ends with ]";
  std::vector<std::string> known(kKnownSettings.size());
  std::transform(kKnownSettings.begin(), kKnownSettings.end(), known.begin(),
                 [](const CKnownSetting& setting) { return setting.key; });
  return text + Suggestion(key, known);
}

// Remembers where a section or key was last seen.
class CLineWarnings {
 public:
  explicit CLineWarnings(std::vector<CWarning>& warnings) : m_warnings(warnings) {}

  void Look(const CConfigLine& line) {
    if (line.isHeader) {
      LookAtHeader(line);
    } else if (!line.inSection) {
      Warn(line, "\"" + line.key + "\" comes before the first section: ignored");
    } else if (IsSameKey(line.section, kSection)) {
      LookAtEntry(line);
    }
  }

 private:
  void LookAtHeader(const CConfigLine& line) {
    if (!IsSameKey(line.key, kSection)) {
      return Warn(line,
                  "unknown section [" + line.key + "]: ignored" + Suggestion(line.key, {kSection}));
    }
    if (m_section != 0) {
      Warn(line, "a second [LogServer]: it replaces the one in line " + std::to_string(m_section));
    }
    m_section = line.number;
    m_keys.clear();
  }

  void LookAtEntry(const CConfigLine& line) {
    if (!IsKnown(line.key)) return Warn(line, UnknownKey(line.key));
    if (const unsigned before = std::exchange(m_keys[line.key], line.number)) {
      Warn(line, line.key + " is set again: this overrides line " + std::to_string(before));
    }
    if (!line.hasValue) {
      Warn(line, line.key + " has no '=': taken as empty");
    } else if (line.value.find(" #") != std::string::npos) {
      Warn(line, "the # and the text after it are part of the value of " + line.key +
                     ": a comment needs a line of its own");
    }
  }

  void Warn(const CConfigLine& line, const std::string& text) {
    m_warnings.push_back({line.number, text});
  }

  std::vector<CWarning>& m_warnings;
  unsigned m_section = 0;
  std::map<std::string, unsigned, qel::LessStrings> m_keys;
};

}  // namespace

void WarnOfLines(const std::vector<CConfigLine>& lines, std::vector<CWarning>& warnings) {
  CLineWarnings look(warnings);
  for (const CConfigLine& line : lines) look.Look(line);
}

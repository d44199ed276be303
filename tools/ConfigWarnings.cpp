#include "ConfigWarnings.h"

#include <strings.h>

#include <algorithm>
#include <map>
#include <numeric>

#include "QELString.h"

const std::vector<std::string> kSettingKeys = {
    "DirName",     "Port",    "BindingAddress", "PidFileName",
    "MaxFileSize", "MaxSize", "MaxPeriod",      "ExternalRotation"};

namespace {

constexpr const char* kSection = "LogServer";

bool IsSame(const std::string& a, const std::string& b) {
  return ::strcasecmp(a.c_str(), b.c_str()) == 0;
}

// How many letters have to be put in, taken out or replaced to make one of the other.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool differs = ::strncasecmp(&a[i - 1], &b[j - 1], 1) != 0;
      const std::size_t replaced = diagonal + (differs ? 1 : 0);
      diagonal = std::exchange(row[j], std::min({replaced, row[j] + 1, row[j - 1] + 1}));
    }
  }
  return row[b.size()];
}

// "; did you mean X?", when one is near enough.
std::string Suggestion(const std::string& name, const std::vector<std::string>& known) {
  const auto nearest = std::min_element(
      known.begin(), known.end(),
      [&](const auto& a, const auto& b) { return Distance(name, a) < Distance(name, b); });
  if (Distance(name, *nearest) > nearest->size() / 2) return {};
  return "; did you mean " + *nearest + "?";
}

bool IsKnown(const std::string& key) {
  return std::any_of(kSettingKeys.begin(), kSettingKeys.end(),
                     [&](const std::string& known) { return IsSame(known, key); });
}

std::string UnknownKey(const std::string& key) {
  const std::string text = "unknown key \"" + key + "\": ignored";
  if (key[0] == ';' || key.starts_with("//")) return text + "; comments begin with #";
  if (key[0] == '[') return text + "; a section's header ends in ]";
  return text + Suggestion(key, kSettingKeys);
}

// Remembers where a section or key was last seen.
class CLineWarnings {
 public:
  explicit CLineWarnings(std::vector<CWarning>& warnings) : m_warnings(warnings) {}

  void Look(const CConfigLine& line) {
    if (line.isHeader) {
      LookAtHeader(line);
    } else if (!line.inSection) {
      Warn(line, "\"" + line.key + "\" stands before the first section: ignored");
    } else if (IsSame(line.section, kSection)) {
      LookAtEntry(line);
    }
  }

 private:
  void LookAtHeader(const CConfigLine& line) {
    if (!IsSame(line.key, kSection)) {
      return Warn(line,
                  "unknown section [" + line.key + "]: ignored" + Suggestion(line.key, {kSection}));
    }
    if (m_section != 0) {
      Warn(line, "a second [LogServer]: what stands below line " + std::to_string(m_section) +
                     " is dropped");
    }
    m_section = line.number;
    m_keys.clear();
  }

  void LookAtEntry(const CConfigLine& line) {
    if (!IsKnown(line.key)) return Warn(line, UnknownKey(line.key));
    if (unsigned& before = m_keys[line.key]; std::exchange(before, line.number) != 0) {
      Warn(line, line.key + " once more: this line counts, the one above does not");
    }
    if (!line.hasValue) {
      Warn(line, line.key + " has no '=': taken as empty");
    } else if (line.value.find(" #") != std::string::npos) {
      Warn(line, "the # and what follows belong to the value of " + line.key +
                     ": a comment has a line of its own");
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

std::vector<CConfigLine> LinesThatCount(const std::vector<CConfigLine>& lines) {
  std::vector<CConfigLine> counting;
  for (const CConfigLine& line : lines) {
    if (!IsSame(line.section, kSection)) continue;
    if (line.isHeader) {
      counting.clear();
      continue;
    }
    std::erase_if(counting, [&line](const auto& before) { return IsSame(before.key, line.key); });
    counting.push_back(line);
  }
  return counting;
}

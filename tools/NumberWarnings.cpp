#include <strings.h>

#include <cstdint>
#include <cstdlib>

#include "ConfigWarnings.h"

namespace {

// A setting that is a number: what it is multiplied by, what that makes of it, and what a 0 means.
struct CNumber {
  const char* key;
  const char* unit;
  long long factor;
  const char* product;
  std::uint32_t CSettings::*field;
  const char* zero;
};

constexpr const char* kKeepsNothing = "no rotated file is kept, and an error reported every 15 s";
constexpr CNumber kNumbers[] = {
    {"MaxFileSize", "MiB", 1 << 20, "bytes", &CSettings::m_nMaxFileSize,
     "the file is rotated every 15 s, even an empty one"},
    {"MaxSize", "MiB", 1 << 20, "bytes", &CSettings::m_nMaxSize, kKeepsNothing},
    {"MaxPeriod", "h", 3600, "seconds", &CSettings::m_nMaxPeriod, kKeepsNothing},
};

// What of the text does not belong to a number; empty when all does.
std::string RubbishIn(const std::string& text, long long& value) {
  char* end = nullptr;
  value = std::strtoll(text.c_str(), &end, 10);
  if (text.empty()) return "is empty: taken as 0";
  if (end == text.c_str()) return "is no number: taken as 0";
  return *end == '\0' ? "" : "is taken as " + std::to_string(value);
}

void WarnOfNumber(const CConfigLine& line, const CNumber& number, const CSettings& settings,
                  std::vector<CWarning>& warnings) {
  const auto warn = [&](const std::string& text) {
    warnings.push_back({line.number, number.key + (" " + text)});
  };
  long long value = 0;
  const std::string rubbish = RubbishIn(line.value, value);
  if (!rubbish.empty()) warn("\"" + line.value + "\" " + rubbish);
  const std::uint32_t effective = settings.*number.field;
  if (value < 0 || value > UINT32_MAX / number.factor) {
    warn(line.value + " " + number.unit + " is more than 32 bits hold: it becomes " +
         std::to_string(effective) + " " + number.product);
  }
  if (effective == 0) warn(std::string("is 0: ") + number.zero);
}

// Words that mean what they say.
bool IsPlainFlag(const std::string& text) {
  for (const char* const plain : {"0", "1", "yes", "no", "true", "false", "off"}) {
    if (::strcasecmp(text.c_str(), plain) == 0) return true;
  }
  return false;
}

}  // namespace

void WarnOfNumbers(const std::vector<CConfigLine>& lines, const CSettings& settings,
                   std::vector<CWarning>& warnings) {
  for (const CConfigLine& line : lines) {
    for (const CNumber& number : kNumbers) {
      if (::strcasecmp(line.key.c_str(), number.key) != 0) continue;
      WarnOfNumber(line, number, settings, warnings);
    }
    if (::strcasecmp(line.key.c_str(), "ExternalRotation") == 0 && !IsPlainFlag(line.value)) {
      warnings.push_back({line.number, "ExternalRotation \"" + line.value + "\" means " +
                                           (settings.m_bExternalRotation ? "on" : "off")});
    }
  }
}

#include <strings.h>

#include <cstdint>
#include <cstdlib>

#include "config/Warnings.h"

namespace {

// A setting that is a number: its unit, the factor that makes `product` of it, and the meaning of
// 0.
struct CNumber {
  const char* key;
  const char* unit;
  long long factor;
  const char* product;
  std::uint32_t CSettings::*field;
  const char* zero;
};

constexpr const char* kKeepsNothing =
    "no rotated file is kept, and an error is reported every 15 s";
constexpr CNumber kNumbers[] = {
    {"MaxFileSize", "MiB", 1 << 20, "bytes", &CSettings::m_nMaxFileSize,
     "the file is rotated every 15 s, even an empty one"},
    {"MaxSize", "MiB", 1 << 20, "bytes", &CSettings::m_nMaxSize, kKeepsNothing},
    {"MaxPeriod", "h", 3600, "seconds", &CSettings::m_nMaxPeriod, kKeepsNothing},
};

// The complaint about a text that is not a number to its last character; empty if it is one.
std::string FlawOf(const std::string& text, long long& value) {
  char* end = nullptr;
  value = std::strtoll(text.c_str(), &end, 10);
  if (text.empty()) return "is empty: taken as 0";
  if (end == text.c_str()) return "is not a number: taken as 0";
  return *end == '\0' ? "" : "is taken as " + std::to_string(value);
}

void WarnOfNumber(const CConfigLine& line, const CNumber& number, const CSettings& settings,
                  std::vector<CWarning>& warnings) {
  const auto warn = [&](const std::string& text) {
    warnings.push_back({line.number, number.key + (" " + text)});
  };
  long long value = 0;
  const std::string flaw = FlawOf(line.value, value);
  if (!flaw.empty()) warn("\"" + line.value + "\" " + flaw);
  const std::uint32_t effective = settings.*number.field;
  if (value < 0 || value > UINT32_MAX / number.factor) {
    warn(line.value + " " + number.unit + " does not fit in 32 bits: it becomes " +
         std::to_string(effective) + " " + number.product);
  }
  if (effective == 0) warn(std::string("is 0: ") + number.zero);
}

// Words that tavok understands as everybody else does.
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
      if (!IsSameKey(line.key, number.key)) continue;
      WarnOfNumber(line, number, settings, warnings);
    }
    if (IsSameKey(line.key, "ExternalRotation") && !IsPlainFlag(line.value)) {
      warnings.push_back({line.number, "ExternalRotation \"" + line.value + "\" means " +
                                           (settings.m_bExternalRotation ? "on" : "off")});
    }
  }
}

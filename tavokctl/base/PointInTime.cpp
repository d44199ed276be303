#include "base/PointInTime.h"

#include <cstdlib>
#include <optional>

#include "base/Failure.h"

namespace {

constexpr std::size_t kMostDigits = 12;  // so that no sum or product overflows

bool IsNumber(const std::string& text) {
  return !text.empty() && text.size() <= kMostDigits &&
         text.find_first_not_of("0123456789") == std::string::npos;
}

std::optional<std::time_t> Age(const std::string& text) {
  const struct {
    const char* name;
    std::time_t seconds;
  } units[] = {{"min", 60}, {"s", 1}, {"h", 3600}, {"d", 86400}};
  for (const auto& unit : units) {
    if (!text.ends_with(unit.name)) continue;
    const std::string number = text.substr(0, text.size() - std::string(unit.name).size());
    if (IsNumber(number)) return std::atoll(number.c_str()) * unit.seconds;
  }
  return {};
}

// Only what strftime would write again is a date: February has no 30th.
std::optional<std::time_t> Calendar(std::string text) {
  if (text.size() > 10 && text[10] == 'T') text[10] = ' ';
  for (const char* const format : {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%d %H:%M:%S"}) {
    std::tm time{};
    const char* const end = ::strptime(text.c_str(), format, &time);
    if (end == nullptr || *end != '\0') continue;
    const std::time_t seconds = ::timegm(&time);
    char again[32];
    (void)std::strftime(again, sizeof again, format, &time);
    if (text == again) return seconds;
  }
  return {};
}

}  // namespace

std::time_t ReadPointInTime(const std::string& what, const std::string& text, std::time_t now) {
  if (text.starts_with('@') && IsNumber(text.substr(1))) return std::atoll(text.c_str() + 1);
  if (const auto age = Age(text)) return now - *age;
  if (const auto time = Calendar(text)) return *time;
  throw CWrongUse(what + " takes a time as 2026-11-22, \"2026-11-22 13:05:09\" (UTC), @SECONDS, " +
                  "90s, 10min, 2h or 3d, not \"" + text + "\"");
}

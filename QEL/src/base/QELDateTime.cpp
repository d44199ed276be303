#include "QELDateTime.h"

#include <cstdlib>
#include <cwchar>
#include <iterator>

#include "QELString.h"

namespace qel {
namespace {

constexpr const char* kGmtDate = "%a, %d %b %Y %X GMT";

// Calendar arithmetic is 32 bits wide and wraps, on purpose, whatever the fields hold.
constexpr int Wrapped(unsigned value) { return static_cast<int>(value); }
constexpr unsigned Bits(int value) { return static_cast<unsigned>(value); }
constexpr int Add(int a, int b) { return Wrapped(Bits(a) + Bits(b)); }
constexpr int Subtract(int a, int b) { return Wrapped(Bits(a) - Bits(b)); }
constexpr int Multiply(int a, int b) { return Wrapped(Bits(a) * Bits(b)); }

// Seconds by which the local standard time lies west of UTC.
long ZoneOffset() {
  ::tzset();
  return ::timezone;
}

long long LocalSeconds(std::tm parts) {
  const long long seconds = std::mktime(&parts);
  return seconds == -1 ? seconds : seconds - ZoneOffset();
}

bool SplitGmt(long long seconds, std::tm& parts) {
  const auto value = static_cast<std::time_t>(seconds);
  return ::gmtime_r(&value, &parts) != nullptr;
}

template <std::size_t Size>
std::string FormatGmt(long long seconds, const char* format) {
  std::tm parts{};
  char text[Size];
  if (!SplitGmt(seconds, parts)) return {};
  return std::string(text, std::strftime(text, Size, format, &parts));
}

// "+0100" for one hour east of UTC; the rounding is the library's own.
std::string ZoneSuffix() {
  const int west = static_cast<int>(ZoneOffset() / 60);
  const int minutes = std::abs(west);
  const int hours =
      static_cast<int>(static_cast<double>(static_cast<float>(minutes) / 60.0f) + 0.4);
  const int rest = minutes % 60;
  const int half = rest >= 29 && rest <= 31 ? 30 : 0;
  return QELSPrintf(" %s%04d", west <= 0 ? "+" : "-", hours * 100 + half);
}

std::string TwoDigits(long long value) { return QELSPrintf("%02d", static_cast<int>(value)); }

// Returns the text that replaces a percent sign and `letter` in the format of a span.
std::string SpanField(long long span, char letter) {
  switch (letter) {
    case 'D':
      return std::to_string(span / 86400);
    case 'H':
      return TwoDigits(span / 3600 - span / 86400 * 24);
    case 'M':
      return TwoDigits(span / 60 - span / 3600 * 60);
    case 'S':
      return TwoDigits(span % 60);
    default:
      return std::string(1, letter);
  }
}

// Days from 1970-01-01 to the given day.
int DaysSinceEpoch(int years, int month, int day) {
  static constexpr int kDaysBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
  const int leapBase = Add(years, month >= 2 ? 1 : 0);
  int days = Subtract(day, 25551);  // 70 * 365 + 1
  days = Add(days, kDaysBefore[month]);
  days = Add(days, Multiply(years, 365));
  days = Add(days, Subtract(leapBase, 69) / 4);
  days = Add(days, Add(leapBase, 299) / 400);
  return Subtract(days, Subtract(leapBase, 1) / 100);
}

}  // namespace

CDateTime::CDateTime(int year, int month, int day, int hour, int minute, int second)
    : m_nSeconds(0) {
  std::tm parts{};
  parts.tm_year = Subtract(year, 1900);
  parts.tm_mon = Subtract(month, 1);
  parts.tm_mday = day;
  parts.tm_hour = hour;
  parts.tm_min = minute;
  parts.tm_sec = second;
  m_nSeconds = LocalSeconds(parts);
}

CDateTime::CDateTime(std::uint16_t date, std::uint16_t time)
    : CDateTime((date >> 9) + 1980, (date >> 5) & 0x0F, date & 0x1F, time >> 11, (time >> 5) & 0x3F,
                (time & 0x1F) * 2) {}

CDateTime CDateTime::GetCurrentGMTTime() { return CDateTime(std::time(nullptr)); }

CDateTime CDateTime::GetCurrentTime() { return CDateTime(std::time(nullptr) - ZoneOffset()); }

std::string& CDateTime::Format(const char* format, std::string& out) const {
  return out = FormatGmt<1024>(m_nSeconds, format);
}

std::wstring& CDateTime::Format(const wchar_t* format, std::wstring& out) const {
  std::tm parts{};
  wchar_t text[1024];
  const bool split = SplitGmt(m_nSeconds, parts);
  return out.assign(text, split ? std::wcsftime(text, std::size(text), format, &parts) : 0);
}

std::tm* CDateTime::GetTm(std::tm* out) const {
  const auto value = static_cast<std::time_t>(m_nSeconds);
  if (out == nullptr) return std::gmtime(&value);
  if (!SplitGmt(m_nSeconds, *out)) *out = std::tm{};
  return out;
}

std::string CDateTime::GetRFCDateString() {
  std::string text;
  return GetCurrentTime().Format("%a, %d %b %Y %X", text) + ZoneSuffix();
}

std::string CDateTime::GetRFCGMTDateString() {
  std::string text;
  return GetCurrentGMTTime().Format(kGmtDate, text);
}

std::string CDateTime::FormatGMT(long seconds) {
  std::string text;
  return CDateTime(seconds).Format(kGmtDate, text);
}

bool CDateTime::ParseGMT(const std::string& text, long& seconds) {
  std::tm parts{};
  if (::strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &parts) == nullptr) return false;
  seconds = _mkgmtime(&parts);
  return true;
}

std::string CDateTimeSpan::Format(const char* format) const {
  std::string out;
  for (const char* p = format; *p != '\0'; ++p) {
    if (*p != '%') {
      out.push_back(*p);
    } else if (*++p != '\0') {
      out += SpanField(m_nSeconds, *p);
    } else {
      break;
    }
  }
  return out;
}

std::int64_t _mkgmtime(const std::tm* t) {
  int years = Add(t->tm_year, t->tm_mon / 12);
  int month = t->tm_mon % 12;
  if (month < 0) {
    month += 12;
    years = Subtract(years, 1);
  }
  const int days = DaysSinceEpoch(years, month, t->tm_mday);
  const int hours = Add(Multiply(days, 24), t->tm_hour);
  const int minutes = Add(Multiply(hours, 60), t->tm_min);
  const int seconds = Add(Multiply(minutes, 60), t->tm_sec);
  return seconds < 0 ? -1 : seconds;
}

bool ParseRfcTime(const char* text, std::tm* t) {
  *t = std::tm{};
  for (const char* format :
       {"%a, %e %b %Y %H:%M:%S", "%a, %e-%b-%y %H:%M:%S", "%a %b %e %H:%M:%S %Y"}) {
    if (::strptime(text, format, t) != nullptr) return true;
  }
  return false;
}

std::string FormatHttpDate(long seconds) {
  return FormatGmt<256>(seconds, "%a, %d %b %Y %H:%M:%S GMT");
}

std::string FormatW3CTime(const long& seconds) {
  return FormatGmt<80>(seconds, "%Y-%m-%dT%H:%M:%SZ");
}

}  // namespace qel

#pragma once

#include <cstdint>
#include <ctime>
#include <string>

/// Date and time. Nothing here throws but std::bad_alloc: a failure to format gives an empty
/// string, a failure to parse false, a conversion that mktime rejects -1. Functions that involve
/// the local zone use the C library's process-wide zone state, GetTm(nullptr) its shared result:
/// these are not safe against concurrent calls; the others are.
namespace qel {

/// A count of seconds that every operation reads as UTC since 1970-01-01 00:00:00. It holds either
/// a UTC time or a local wall-clock time shifted by the zone's standard offset, so that it prints
/// as the local clock; it does not record which. Daylight saving is never applied.
class CDateTime {
 public:
  explicit CDateTime(long long seconds) noexcept : m_nSeconds(seconds) {}

  /// Local wall-clock time from calendar parts: full year, month 1 to 12. Holds -1 when mktime
  /// rejects them.
  CDateTime(int year, int month, int day, int hour, int minute, int second);

  /// Local wall-clock time from the packed date and time words of the FAT file system.
  CDateTime(std::uint16_t date, std::uint16_t time);

  /// The system clock, as it is (UTC).
  static CDateTime GetCurrentGMTTime();

  /// The system clock shifted to the local wall clock.
  static CDateTime GetCurrentTime();

  long long GetSeconds() const noexcept { return m_nSeconds; }

  /// Formats with strftime into `out` and returns it; empty when the value cannot be split or the
  /// text is empty or longer than 1023 characters.
  std::string& Format(const char* format, std::string& out) const;
  std::wstring& Format(const wchar_t* format, std::wstring& out) const;

  /// Splits the value. With null, returns the C library's shared static result (null on failure);
  /// else fills `out` and returns it (all zero on failure).
  std::tm* GetTm(std::tm* out) const;

  /// Now, as "Sun, 06 Nov 1994 08:49:37 +0100" in the local zone. The offset is rounded to whole
  /// hours, or to half hours where its minutes are 29 to 31.
  static std::string GetRFCDateString();

  /// Now, as "Sun, 06 Nov 1994 08:49:37 GMT".
  static std::string GetRFCGMTDateString();

  /// The given UTC seconds in the same form.
  static std::string FormatGMT(long seconds);

  /// Reads that form. On failure returns false and leaves `seconds` alone.
  static bool ParseGMT(const std::string& text, long& seconds);

 private:
  long long m_nSeconds;
};

/// A duration in seconds.
class CDateTimeSpan {
 public:
  explicit CDateTimeSpan(long long seconds) noexcept : m_nSeconds(seconds) {}

  long long GetSeconds() const noexcept { return m_nSeconds; }

  /// Replaces %D by the whole days, %H, %M and %S by the two-digit hours, minutes and seconds
  /// within them, and a percent sign before any other character by that character. A negative
  /// span gives negative fields.
  std::string Format(const char* format) const;

 private:
  long long m_nSeconds;
};

/// The inverse of gmtime. Ignores tm_wday, tm_yday and tm_isdst. Times before 1970 give -1. Counts
/// in 32 bits, so dates beyond early 2038 wrap.
std::int64_t _mkgmtime(const std::tm* t);

/// Reads the three date forms of HTTP: RFC 1123 (its zone is ignored), RFC 850 and asctime. Clears
/// `t` first. Returns false on failure; `t` then holds the fields read so far.
bool ParseRfcTime(const char* text, std::tm* t);

/// "Sun, 06 Nov 1994 08:49:37 GMT" of the given UTC seconds.
std::string FormatHttpDate(long seconds);

/// "1994-11-06T08:49:37Z" of the given UTC seconds.
std::string FormatW3CTime(const long& seconds);

}  // namespace qel

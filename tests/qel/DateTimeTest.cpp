#include <gtest/gtest.h>

#include <climits>

#include "QELDateTime.h"

using namespace qel;

TEST(DateTime, MkgmtimeInvertsGmtime) {
  for (std::time_t seconds = 0; seconds < INT_MAX - 86400 * 13; seconds += 86400 * 13 + 3601) {
    std::tm parts;
    ::gmtime_r(&seconds, &parts);
    ASSERT_EQ(seconds, _mkgmtime(&parts));
  }
  // Fields as in tm: seconds, minutes, hours, day, month from 0, years since 1900.
  const std::pair<std::tm, long long> edges[] = {{{0, 0, 0, 1, 2, 100}, 11017LL * 86400},
                                                 {{59, 59, 23, 31, 11, 69}, -1},
                                                 {{0, 0, 0, 1, 12, 99}, 946684800},
                                                 {{0, 0, 0, 31, -1, 101}, 978220800},
                                                 {{7, 14, 3, 19, 0, 138}, INT_MAX},
                                                 {{8, 14, 3, 19, 0, 138}, -1},
                                                 {{17, 28, 6, 7, 1, 206}, 1}};
  for (const auto& [parts, expected] : edges) EXPECT_EQ(expected, _mkgmtime(&parts));
}

TEST(DateTime, HttpFormsAreReadAndWritten) {
  std::tm parts;
  for (const char* text :
       {"Sun, 06 Nov 1994 08:49:37 GMT", "Sunday, 06-Nov-94 08:49:37", "Sun Nov 6 08:49:37 1994"}) {
    EXPECT_TRUE(ParseRfcTime(text, &parts)) << text;
    EXPECT_EQ(784111777, _mkgmtime(&parts)) << text;
  }
  EXPECT_FALSE(ParseRfcTime("06 Nov 1994", &parts));
  long seconds = 7;
  EXPECT_FALSE(CDateTime::ParseGMT("Sun, 06 Nov 1994 08:49:37", seconds));
  EXPECT_EQ(7, seconds);
  EXPECT_TRUE(CDateTime::ParseGMT("Sun, 06 Nov 1994 08:49:37 GMT", seconds));
  EXPECT_EQ("Sun, 06 Nov 1994 08:49:37 GMT", FormatHttpDate(seconds));
  EXPECT_EQ("Sun, 06 Nov 1994 08:49:37 GMT", CDateTime::FormatGMT(seconds));
  EXPECT_EQ("1970-01-01T00:00:00Z", FormatW3CTime(0));
}

TEST(DateTime, TheZoneShiftsCalendarPartsAndIsPrintedRounded) {
  const std::pair<const char*, const char*> cases[] = {
      {"UTC0", "+0000"},     {"CET-1", "+0100"},    {"ABC-5:30", "+0530"}, {"ABC-5:45", "+0600"},
      {"EST5", "-0500"},     {"ABC3:30", "-0330"},  {"ABC-5:28", "+0500"}, {"ABC-5:29", "+0530"},
      {"ABC-5:32", "+0500"}, {"ABC-5:36", "+0500"}, {"ABC-5:37", "+0600"}};
  for (const auto& [zone, expected] : cases) {
    ::setenv("TZ", zone, 1);
    const std::string text = CDateTime::GetRFCDateString();
    EXPECT_EQ(expected, text.substr(text.size() - 5)) << zone;
    std::string parts, packed;
    CDateTime(2024, 7, 31, 12, 30, 58).Format("%Y-%m-%d %H:%M:%S", parts);
    CDateTime(44 << 9 | 7 << 5 | 31, 12 << 11 | 30 << 5 | 29).Format("%Y-%m-%d %H:%M:%S", packed);
    EXPECT_EQ("2024-07-31 12:30:58", parts);
    EXPECT_EQ("2024-07-31 12:30:58", packed);
  }
}

TEST(DateTime, FieldsAreFormattedOrNothing) {
  std::string text = "old";
  EXPECT_EQ("", CDateTime(LLONG_MAX).Format("%Y", text));
  EXPECT_EQ("", CDateTime(0).Format(std::string(1024, 'x').c_str(), text));
  EXPECT_EQ("1 days 01:01:01", CDateTimeSpan(90061).Format("%D days %H:%M:%S"));
  EXPECT_EQ("0 23:59:59", CDateTimeSpan(86399).Format("%D %H:%M:%S"));
  EXPECT_EQ("-1 -1:-1:-1", CDateTimeSpan(-90061).Format("%D %H:%M:%S"));
  EXPECT_EQ("100% x", CDateTimeSpan(1).Format("100%% %x%"));
}

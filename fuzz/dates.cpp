// Dates and spans: the input as a date's text, as a date's fields, and as the seconds of a span.
#include "Fuzz.h"

void Try(const std::string& input) {
  std::tm date{};
  long seconds = -7, span = 0;
  const bool read = qel::ParseRfcTime(input.c_str(), &date);
  const bool gmt = qel::CDateTime::ParseGMT(input, seconds);
  Require(gmt ? read && seconds == qel::_mkgmtime(&date) : seconds == -7);

  input.copy(reinterpret_cast<char*>(&span), sizeof span);
  qel::CDateTimeSpan(span).Format(input.c_str());
  Require(qel::CDateTimeSpan(span).Format("%D %H:%M:%S %% %x") ==
          qel::QELSPrintf("%ld %02ld:%02ld:%02ld %% x", span / 86400, span % 86400 / 3600,
                          span % 3600 / 60, span % 60));

  // The C library counts in 64 bits, and agrees in the 2^30 years from 1971 on.
  input.copy(reinterpret_cast<char*>(&date), sizeof date);
  const long made = qel::_mkgmtime(&date), years = date.tm_year - 71L + date.tm_mon / 12;
  Require(made == std::max(int(::timegm(&date)), -1) || (made >= -1 && years >> 30 != 0));
  std::string text = qel::FormatHttpDate(made);
  Require(made < 0 || (qel::CDateTime::ParseGMT(text, seconds) && seconds == made));
  for (const char* form : {"%a, %d %b %Y %T", "%A, %d-%b-%y %T", "%a %b %e %T %Y"}) {
    qel::ParseRfcTime(qel::CDateTime(made).Format(form, text).c_str(), &date);
    Require(made < 0 || qel::_mkgmtime(&date) == made);
  }
}

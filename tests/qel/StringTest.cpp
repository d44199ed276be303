#include "QELString.h"
#include "Support.h"

using namespace qel;

TEST(String, FormattedTextIsCutAt20479Characters) {
  for (const std::size_t length : {0u, 20478u, 20479u, 20480u, 50000u}) {
    std::string out = "old";
    QELSPrintf(out, "%s", std::string(length, 'x').c_str());
    EXPECT_EQ(std::string(std::min<std::size_t>(length, 20479), 'x'), out);
  }
}

TEST(String, Utf8IsDecodedLeniently) {
  const std::pair<const char*, std::u32string> cases[] = {{"a\xC3\xA9z", U"a\u00E9z"},
                                                          {"\xE2\x82\xAC", U"\u20AC"},
                                                          {"\xF0\x9F\x98\x80", U"\U0001F600"},
                                                          {"cut\xE2\x82", U"cut"},
                                                          {"\x81", U"\1"},
                                                          {"\xFF\xF8", U"\x7F\x78"},
                                                          {"\xC1\x81", U"A"},
                                                          {"\xED\xA0\x80", {char32_t(0xD800)}},
                                                          {"\xC3\x61", {char32_t(0xE1)}}};
  for (const auto& [in, expected] : cases) {
    std::wstring out = L"old";
    FromUtf8(in, out);
    EXPECT_EQ(std::wstring(expected.begin(), expected.end()), out) << in;
  }
}

TEST(String, Utf8IsEncodedFromTheLow16Bits) {
  const std::pair<unsigned, const char*> cases[] = {
      {0x7F, "\x7F"},           {0x80, "\xC2\x80"},       {0x7FF, "\xDF\xBF"},
      {0x800, "\xE0\xA0\x80"},  {0xD800, "\xED\xA0\x80"}, {0xFFFF, "\xEF\xBF\xBF"},
      {0x1F600, "\xEF\x98\x80"}};
  for (const auto& [in, expected] : cases) {
    std::string out = "old";
    ToUtf8(std::wstring(1, wchar_t(in)), out);
    EXPECT_EQ(expected, out);
  }
}

TEST(String, WideningAndNarrowingGoByteByByte) {
  std::wstring wide;
  std::string narrow;
  ToWide("a\xE9\0", 3, wide);
  FromWide((wide + wchar_t(0x100) + wchar_t(-2)).data(), 5, narrow);
  EXPECT_EQ(std::string("a\xE9\0\xFF\xFE", 5), narrow);
}

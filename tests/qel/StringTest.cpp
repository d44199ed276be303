#include <gtest/gtest.h>

#include "QELString.h"

using namespace qel;

TEST(String, FormattedTextIsCutAt20479Characters) {
  for (const std::size_t length : {0u, 20478u, 20479u, 20480u, 50000u}) {
    std::string out = "old";
    QELSPrintf(out, "%s", std::string(length, 'x').c_str());
    EXPECT_EQ(std::string(std::min<std::size_t>(length, 20479), 'x'), out);
  }
}

TEST(String, Utf8IsDecodedLeniently) {
  std::wstring out = L"old";
  // Well-formed, stray, too long, a surrogate, without the top bits of a continuation, cut off.
  FromUtf8(
      "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 \x81\xFF\xF8 \xC1\x81 \xED\xA0\x80 \xC3\x61 z\xE2\x82",
      out);
  EXPECT_EQ((std::wstring{'a', 0xE9, 0x20AC, 0x1F600, ' ', 1, 0x7F, 0x78, ' ', 'A', ' ', 0xD800,
                          ' ', 0xE1, ' ', 'z'}),
            out);
}

TEST(String, Utf8IsEncodedFromTheLow16Bits) {
  std::string out = "old";
  ToUtf8({0x7F, 0x80, 0x7FF, 0x800, 0xD800, 0xFFFF, 0x1F600}, out);
  EXPECT_EQ("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\xA0\x80\xEF\xBF\xBF\xEF\x98\x80", out);
}

TEST(String, WideCharactersAreNarrowedBySignedComparison) {
  const std::pair<std::int32_t, char> cases[] = {
      {0, '\0'},     {'A', 'A'},   {0xE9, '\xE9'},  {0xFF, '\xFF'},
      {256, '\xFF'}, {-1, '\xFF'}, {-0xBF, '\x41'}, {INT32_MIN + 0x41, '\x41'}};
  for (const auto& [value, expected] : cases) {
    const auto wide = static_cast<wchar_t>(value);
    std::string out = "old";
    FromWide(&wide, 1, out);
    EXPECT_EQ(std::string(1, expected), out) << value;
  }
}

TEST(String, BytesAreWidenedToTheSameValue) {
  std::wstring out = L"old";
  ToWide("a\x80\xFF\0z", 4, out);
  EXPECT_EQ((std::wstring{'a', 0x80, 0xFF, 0}), out);
}

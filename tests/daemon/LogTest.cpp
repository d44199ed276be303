#include "Log.h"
#include "Support.h"

TEST(Log, IsChompedOnceAndCut) {
  g_syslog.m_bNoSyslog = true;
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"\n", ""},
      {"a%s", "a%s"},
      {"a\r\n", "a"},
      {"a\n\n", "a\n"},
      {"a\n\r", "a\n"},
      {std::string(30000, 'x') + "\n", std::string(20478, 'x')}};
  for (const auto& [text, expected] : cases) {
    testing::internal::CaptureStderr();
    Log(kLogError, "%s", text.c_str());
    EXPECT_EQ(expected + "\n", testing::internal::GetCapturedStderr());
  }
}

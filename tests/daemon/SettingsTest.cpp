#include "Settings.h"
#include "Support.h"

TEST(Settings, ValuesAreTakenAsTheyAre) {
  const std::pair<const char*, const char*> cases[] = {
      {"[Other]\nPort=1", "0: 50 2000 24 0 23456"},
      {"[LogServer]", "1: 52428800 2097152000 86400 0 23456"},
      {"[logserver]\nmaxfilesize= 10 \nPORT=", "1: 10485760 2097152000 86400 0 "},
      {"[LogServer]\nMaxFileSize=4095\nMaxSize=abc\nMaxPeriod=1193047\nExternalRotation=TRUE",
       "1: 4293918720 0 1904 1 23456"},
      {"[LogServer]\nMaxFileSize=4096\nMaxSize=-1\nMaxPeriod=0\nExternalRotation=2\nPort=0x",
       "1: 0 4293918720 0 1 0x"},
      {"[LogServer]\nMaxFileSize=\nMaxSize=4294967297\nExternalRotation=on",
       "1: 0 1048576 86400 0 23456"}};
  const TempDir dir;
  for (const auto& [text, expected] : cases) {
    WriteFile(dir / "conf", text);
    CSettings s(dir / "conf");
    std::ostringstream got;
    got << s.LoadConfig() << ": " << s.m_nMaxFileSize << " " << s.m_nMaxSize << " "
        << s.m_nMaxPeriod << " " << s.m_bExternalRotation << " " << s.m_strPort;
    EXPECT_EQ(expected, got.str()) << text;
  }
}

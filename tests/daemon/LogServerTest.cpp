#include <gtest/gtest.h>

#include <filesystem>

#include "Files.h"
#include "Globals.h"
#include "Log.h"
#include "LogServer.h"

TEST(LogServer, StopRemovesThePidFileOrReportsThatItCannot) {
  g_syslog.m_bNoSyslog = true;
  const TempDir dir;
  const std::string path = dir / "pid";
  g_pSettings = new CSettings("");
  g_pSettings->m_strPidFileName = path;
  WriteFile(path, "1");
  const CRefCount<CLogServer> server = new CLogServer;
  for (const auto& report : {std::string(), "failed to remove pid file " + path + "\n"}) {
    testing::internal::CaptureStderr();
    EXPECT_TRUE(server->Stop());
    EXPECT_EQ(report, testing::internal::GetCapturedStderr());
    EXPECT_FALSE(std::filesystem::exists(path));
  }
}

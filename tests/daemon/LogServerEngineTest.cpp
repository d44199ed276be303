#include <gtest/gtest.h>

#include <filesystem>

#include "Files.h"
#include "LogServerEngine.h"
#include "Waiting.h"

TEST(Engine, RotatesToUtcNamesAndKeepsTheLaterOfASecond) {
  ::setenv("TZ", "ABC-14", 1);
  const TempDir dir;
  CLogServerEngine engine(dir / "log", 1, 1, 1, true);
  ASSERT_TRUE(engine.Init());
  EXPECT_TRUE(engine.Write("first"));
  AwaitNextSecond();
  engine.Rotate();
  EXPECT_TRUE(engine.Write("second"));
  engine.Rotate();
  const std::time_t now = std::time(nullptr);
  std::tm utc;
  char name[64];
  std::strftime(name, sizeof name, "tavok_%Y%m%d_%H%M%S.log", ::gmtime_r(&now, &utc));
  EXPECT_EQ((std::set<std::string>{name, "tmp.tavok"}), LogFiles(dir));
  EXPECT_EQ("second", Logged(dir));
}

TEST(Engine, StopEndsTheWorker) {
  const auto threads = [] {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  };
  const TempDir dir;
  const auto before = threads();
  CLogServerEngine engine(dir / "log", 1 << 20, 3600, 1 << 20, false);
  ASSERT_TRUE(engine.Init());
  engine.Start();
  engine.Stop();
  EXPECT_TRUE(Eventually([&] { return threads() == before; }));
}

TEST(Engine, ReportsALackOfMemoryAsAFileSystemError) {
  g_syslog.m_bNoSyslog = true;
  testing::internal::CaptureStderr();
  LogFileFailure([] { throw std::bad_alloc(); });
  EXPECT_EQ("CLogServerEngine file system error:12\n", testing::internal::GetCapturedStderr());
}

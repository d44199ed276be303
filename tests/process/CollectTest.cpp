#include "Daemon.h"

TEST(Collect, AnEmptyDatagramEndsReceptionAndAStopReportsAMissingPidFile) {
  UpDaemon daemon;
  const TempDir& dir = daemon;
  const Sender sender(dir / "socket");
  const std::string kept(1024, 'k'), thread = "CLogServerUdp::MainWorkerThread() ";
  for (const auto& text :
       {kept + "cut", std::string("a\0b", 3), std::string(1, '\0'), std::string(), kept}) {
    sender.Send(text);
  }
  EXPECT_TRUE(daemon.Says("CLogServerEngine::Write failed Error:0\n" + thread + "fwrite failed\n" +
                          thread + "- Error 104 - Error (104)\n"));
  EXPECT_EQ(kept + "a", Logged(dir));
  std::filesystem::remove(dir / "pid");
  EXPECT_EQ(0, daemon.Stop());
  EXPECT_TRUE(daemon.Says("failed to remove pid file " + (dir / "pid\n")));
}

TEST(Collect, TheWorkerRotatesBySizeAndDeletesTheOldest) {
  const TempDir dir;
  std::filesystem::create_directory(dir / "log");
  const std::string megabyte(1 << 20, 'm'), deleting = ", deleting file " + (dir / "log/");
  for (const char* name : {"log/other", "log/b_tavok_", "log/tavok_2", "log/tavok_1"}) {
    WriteFile(dir / name, megabyte);
    AwaitNextSecond();
  }
  WriteFile(dir / "log/tmp.tavok", megabyte);
  {
    const Daemon daemon(dir, "MaxFileSize=1\nMaxSize=3\n");
    const std::string full = "Tavok LogServer: Directory max size reached" + deleting;
    // The file left by an earlier run is rotated at once; a total at the limit is too large.
    EXPECT_TRUE(daemon.Says(full + "b_tavok_\n"));
    EXPECT_TRUE(daemon.Says(full + "tavok_2\n"));
    EXPECT_TRUE(Eventually([&] { return LogFiles(dir).size() == 4; }));
    const Sender sender(dir / "socket");
    for (int i = 0; i < 1024; ++i) sender.Send(std::string(1024, 'n'));
    EXPECT_TRUE(daemon.Says(full + "tavok_1\n"));  // by the next check, 15 s later
    EXPECT_TRUE(
        Eventually([&] { return Logged(dir) == megabyte + megabyte + std::string(1 << 20, 'n'); }));
  }
}

TEST(Collect, TheWorkerDeletesTheExpiredAndReportsThatNoneIsLeft) {
  const TempDir dir;
  std::filesystem::create_directory(dir / "log");
  WriteFile(dir / "log/tavok_1", "");
  AwaitNextSecond();
  const Daemon daemon(dir, "MaxPeriod=0\n");
  const std::string expired = "Tavok LogSever: File expired, deleting file ";
  EXPECT_TRUE(daemon.Says(expired + (dir / "log/tavok_1\n")));
  EXPECT_TRUE(daemon.Says(expired + "\nCLogServerEngine file system error:2\n"));
  EXPECT_EQ((std::set<std::string>{"tmp.tavok"}), LogFiles(dir));
}

#include "Daemon.h"

TEST(Collect, WhatIsNoTextIsReportedAndAnEmptyDatagramIsTheLast) {
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  const Sender sender(dir / "socket");
  const std::string kilobyte(1024, 'k');
  for (const auto& text :
       {kilobyte, kilobyte + "cut", std::string("a\0b", 3), std::string("\0", 1)}) {
    sender.Send(text);
  }
  EXPECT_TRUE(
      daemon.Says("CLogServerEngine::Write failed Error:0\n"
                  "CLogServerUdp::MainWorkerThread() fwrite failed\n"));
  for (const char* text : {"and on", "", "unread"}) sender.Send(text);
  EXPECT_TRUE(daemon.Says("CLogServerUdp::MainWorkerThread() - Error 104 - Error (104)\n"));
  EXPECT_EQ(kilobyte + kilobyte + "aand on", Logged(dir));
}

TEST(Collect, TheWorkerRotatesBySizeAndDeletesTheOldestAndTheExpired) {
  const TempDir dir;
  std::filesystem::create_directory(dir / "log");
  const std::string megabyte(1 << 20, 'm'), deleting = ", deleting file " + (dir / "log/tavok_");
  for (const char* name : {"log/tavok_3", "log/tavok_2", "log/tavok_1"}) {
    WriteFile(dir / name, megabyte);
    AwaitNextSecond();
  }
  WriteFile(dir / "log/tmp.tavok", megabyte);
  {
    const Daemon daemon(dir, "MaxFileSize=1\nMaxSize=3\n");
    const std::string full = "Tavok LogServer: Directory max size reached" + deleting;
    // What an earlier run has left is rotated at once; a total at the limit is too much.
    EXPECT_TRUE(daemon.Says(full + "3\n") && daemon.Says(full + "2\n"));
    EXPECT_TRUE(Eventually([&] { return LogFiles(dir).size() == 3; }));
    const Sender sender(dir / "socket");
    for (int i = 0; i < 1024; ++i) sender.Send(std::string(1024, 'n'));
    EXPECT_TRUE(daemon.Says(full + "1\n"));  // at the next check, 15 s later
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == megabyte + std::string(1 << 20, 'n'); }));
  }
  AwaitNextSecond();
  const Daemon daemon(dir, "MaxPeriod=0\n");
  EXPECT_TRUE(daemon.Says("Tavok LogSever: File expired" + deleting));
  EXPECT_TRUE(daemon.Says("CLogServerEngine file system error:2\n"));  // no file is left to delete
  EXPECT_EQ((std::set<std::string>{"tmp.tavok"}), LogFiles(dir));
}

#include "Daemon.h"

TEST(Start, HelpShowsTheConfigurationFileOfTheMoment) {
  const TempDir dir;
  Daemon daemon(dir, "", "-imbvx --conf=my.conf --he -cother");
  EXPECT_EQ(0, daemon.Exit());
  EXPECT_EQ(daemon.Output(),
            "tavok: invalid option -- 'x'\nUsage : tavok [OPTIONS]\n"
            " -c, --config          config file name (default: my.conf)\n"
            " -h, --help            print this help message.\n");
}

TEST(Start, EveryFailureHasItsMessageAndStatus1) {
  const TempDir dir;
  std::filesystem::create_directories(dir / "dir/tmp.tavok");
  const std::string end = "failed to init log server", udp = "CLogServerUdp::Init ";
  const std::pair<std::string, std::string> cases[] = {
      {"-cmissing", "can't find conf file"},
      {"-c/dev/null", "can't find conf file"},
      {"-c.", "can't find conf file"},
      {"DirName=no/log", udp + "failed to create directory no/log/ error 2\n" + end + " engine"},
      {"DirName=dir", udp + "failed to open file dir/tmp.tavok \n" + end + " engine"},
      {"Port=no/socket", udp + "Error (2):2\n" + end},
      {"Port=1\nBindingAddress=localhost", udp + "Error (22):22\n" + end},
      {"Port=dir", udp + "Error (98):98\n" + end},
      {"PidFileName=no/p\nPort=dir",
       "failed to write to pid file no/p \n" + udp + "Error (98):98\n" + end}};
  for (const auto& [change, message] : cases) {
    const bool loads = change[0] != '-';
    std::filesystem::remove(dir / "output");
    Daemon daemon(dir, change, loads ? "" : change);
    EXPECT_EQ(1, daemon.Exit());
    EXPECT_EQ(message + "\n", daemon.Output());
    EXPECT_EQ(message[0] == 'C', std::filesystem::remove(dir / "pid"));
    EXPECT_TRUE(loads || !std::filesystem::exists(dir / "log"));
  }
}

TEST(Start, TakesOverFromARunningInstanceAndCleansUp) {
  const TempDir dir;
  Daemon first(dir, "", "-x -p 1 -l z -imbv --nothing word");
  ASSERT_TRUE(first.IsUp() && first.Says("Log Server listening on port " + (dir / "socket\n")));
  EXPECT_EQ(first.Pid(), ReadFile(dir / "pid"));
  Sender(dir / "socket").Send("first ");
  EXPECT_TRUE(Eventually([&] { return Logged(dir) == "first "; }));
  const std::string pid = first.Pid();
  {
    const Daemon second(dir);
    EXPECT_EQ(0, first.Exit());
    ASSERT_TRUE(second.IsUp() && second.Says("killed previous daemon. pid=" + pid + "\n"));
    EXPECT_EQ(second.Pid(), ReadFile(dir / "pid"));
    Sender(dir / "socket").Send("second");
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == "first second"; }));
  }
  EXPECT_EQ(-1, first.Semaphore());
  EXPECT_FALSE(std::filesystem::exists(dir / "pid") || std::filesystem::exists(dir / "socket"));
}

TEST(Start, ATermSignalInAnyStageIsRemembered) {
  // With 0 in its pid file the daemon asks its own process group to stop, and waits.
  for (const char* pid : {"0", ""}) {
    const TempDir dir;
    WriteFile(dir / "pid", pid);
    // No such set: it goes on announcing itself for ten seconds.
    const Daemon daemon(dir, "", "-s 2147483647");
    EXPECT_TRUE(daemon.Says(*pid ? "killed previous daemon. pid=0\n" : "listening"));
  }
}

TEST(Start, TracedAndSystemLogLinesAndNoneInTheLogFile) {
  if (::access("/dev/log", F_OK) == 0 || ::access("/dev", W_OK) != 0)
    GTEST_SKIP() << "a system logger runs, or only root can stand in for one";
  const TempDir dir;
  Collector log("/dev/log"), trace("/tmp/ZABKTraceCon");
  {
    const Daemon daemon(dir, "", "<&- >&- 2>&-");
    const std::string line = "[tavok][" + daemon.Pid() + "]: ";
    EXPECT_TRUE(log.Sees(line + "Log Server listening on port " + (dir / "socket")));
    EXPECT_EQ(1, log.Count("<134>"));  // facility local0, information
    for (const auto& text : {std::string(1, '\0'), std::string("x")})
      Sender(dir / "socket").Send(text);
    EXPECT_TRUE(log.Sees(line + "CLogServerUdp::MainWorkerThread() fwrite failed"));
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == "x"; }));
    EXPECT_TRUE(trace.Sees("QELThreadProc Start: Tid: "));
  }
  EXPECT_TRUE(trace.Sees("CCancelThread::run () - throwing CCancelThreadExcep\n"));
}

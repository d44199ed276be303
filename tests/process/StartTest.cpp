#include "Daemon.h"

TEST(Start, HelpShowsTheConfigurationFileOfTheMoment) {
  const TempDir dir;
  Daemon daemon(dir, "", {"-imbvx", "--conf=my.conf", "--he", "-cother"});
  EXPECT_EQ(0, daemon.Exit());
  EXPECT_EQ(daemon.Output(),
            "tavok: invalid option -- 'x'\nUsage : tavok [OPTIONS]\n"
            " -c, --config          config file name (default: my.conf)\n"
            " -h, --help            print this help message.\n");
}

TEST(Start, EveryFailureHasItsMessageAndStatus1) {
  const TempDir dir;
  std::filesystem::create_directories(dir / "dir/tmp.tavok");
  const std::string server = "failed to init log server\n", udp = "CLogServerUdp::Init ";
  const std::pair<std::string, std::string> cases[] = {
      {"-cmissing", "can't find conf file\n"},
      {"-c/dev/null", "can't find conf file\n"},
      {"-c.", "can't find conf file\n"},
      {"DirName=no/log", udp + "failed to create directory no/log/ error 2\n" + server},
      {"DirName=dir", udp + "failed to open file dir/tmp.tavok \n" + server},
      {"Port=no/socket", udp + "Error (2):2\n" + server},
      {"Port=1\nBindingAddress=localhost", udp + "Error (22):22\n" + server},
      {"PidFileName=no/pid\nPort=dir",
       "failed to write to pid file no/pid \n" + udp + "Error (98):98\n" + server}};
  for (const auto& [change, message] : cases) {
    const bool hasConf = change[0] != '-';
    std::filesystem::remove(dir / "output");
    Daemon daemon(dir, hasConf ? change : "", {hasConf ? "-i" : change});
    EXPECT_EQ(1, daemon.Exit());
    const std::string output = daemon.Output();
    // The engine's failure is told by its own name.
    EXPECT_EQ(message, std::regex_replace(output, std::regex("server engine"), "server"));
    EXPECT_EQ(change[0] == 'D', output.ends_with("engine\n"));
    EXPECT_EQ(hasConf, std::filesystem::remove(dir / "pid") || change[1] == 'i');
  }
}

TEST(Start, TakesOverFromARunningInstanceAndCleansUp) {
  const TempDir dir;
  Daemon first(dir, "", {"-x", "-p", "1", "-l", "z", "-imbv", "--nothing", "word"});
  ASSERT_TRUE(first.IsUp() && first.Says("Log Server listening on port " + (dir / "socket\n")));
  EXPECT_EQ(first.Pid(), ReadFile(dir / "pid"));
  Sender(dir / "socket").Send("first ");
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
    const Daemon daemon(dir, "", {"-s", "2147483647"});
    EXPECT_TRUE(daemon.Says(*pid ? "killed previous daemon. pid=0\n" : "listening"));
  }
}

TEST(Start, ClosedStandardStreamsDoNotEndUpInALog) {
  const TempDir dir;
  const Daemon daemon(dir, "", {"(closed)"});
  ASSERT_TRUE(daemon.IsUp());
  for (const std::string& text : {std::string(1, '\0'), std::string("text")}) {
    Sender(dir / "socket").Send(text);  // the first one is reported
  }
  EXPECT_TRUE(Eventually([&] { return Logged(dir) == "text"; }));
}

TEST(Start, TracedAndSystemLogLines) {
  if (std::filesystem::exists("/dev/log")) GTEST_SKIP() << "a system logger is running";
  const TempDir dir;
  Collector log("/dev/log"), trace("/tmp/ZABKTraceCon");
  {
    const Daemon daemon(dir);
    EXPECT_TRUE(
        log.Sees("[tavok][" + daemon.Pid() + "]: Log Server listening on port " + (dir / "")));
    EXPECT_EQ(1, log.Count("<134>"));  // facility local0, information
    EXPECT_TRUE(trace.Sees("QELThreadProc Start: Tid: "));
  }
  EXPECT_TRUE(trace.Sees("CCancelThread::run () - throwing CCancelThreadExcep\n"));
}

#include "Daemon.h"

// Runs a command without /dev/null.
static const char* const kWithoutDevices =
    "unshare -m sh -c 'mount -t tmpfs none /dev && exec \"$@\"' sh";

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

TEST(Start, ClosedStandardStreamsDoNotBecomeLogFiles) {
  if (std::system("unshare -m true 2>/dev/null") != 0) GTEST_SKIP() << "only root can";
  const std::pair<std::string, std::string> cases[] = {{"", "/dev/null"},
                                                       {kWithoutDevices, "pipe:"}};
  for (const auto& [prefix, stream] : cases) {
    const TempDir dir;
    const Daemon daemon(dir, "", "<&- >&- 2>&-", prefix);
    ASSERT_TRUE(daemon.IsUp()) << stream;
    for (const char* fd : {"0", "1", "2"}) {
      const std::string target =
          std::filesystem::read_symlink("/proc/" + daemon.Pid() + "/fd/" + fd);
      EXPECT_EQ(stream, target.substr(0, stream.size())) << fd;
    }
  }
}

TEST(Start, AReportOnAClosedStandardErrorIsNotLogged) {
  if (std::system("unshare -m true 2>/dev/null") != 0) GTEST_SKIP() << "only root can";
  const TempDir dir;
  const Daemon daemon(dir, "", "2>&-", kWithoutDevices);
  ASSERT_TRUE(daemon.IsUp());
  const Sender sender(dir / "socket");
  sender.Send(std::string(1, '\0'));  // reported as a failed write
  sender.Send("text");
  EXPECT_TRUE(Eventually([&] { return Logged(dir).find("text") != std::string::npos; }));
  EXPECT_EQ("text", Logged(dir));
}

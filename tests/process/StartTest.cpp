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

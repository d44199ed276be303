#include "Daemon.h"

TEST(Start, HelpAndEveryFailureHaveTheirMessageAndStatus) {
  const TempDir dir;
  std::filesystem::create_directories(dir / "dir/tmp.tavok");
  const std::string noConfiguration = "can't find conf file\n", udp = "CLogServerUdp::Init ";
  const std::string noReceiver = "failed to init log server\n",
                    noEngine = "failed to init log server engine\n";
  const std::string usage =
      "Usage : tavok [OPTIONS]\n"
      " -c, --config          config file name (default: my.conf)\n"
      " -h, --help            print this help message.\n";
  const struct {
    std::string settings, arguments, output;
    bool pidFile, directory;  // whether there is one after
    int status = 1;
  } cases[] = {
      {"", "-cmissing", noConfiguration, false, false},
      {"", "-c/dev/null", noConfiguration, false, false},
      {"", "-c.", noConfiguration, false, false},
      {"DirName=no/log", "", udp + "failed to create directory no/log/ error 2\n" + noEngine, true,
       false},
      {"DirName=dir", "", udp + "failed to open file dir/tmp.tavok \n" + noEngine, true, false},
      {"Port=no/socket", "", udp + "Error (2):2\n" + noReceiver, true, true},
      {"Port=1\nBindingAddress=localhost", "", udp + "Error (22):22\n" + noReceiver, true, true},
      {"Port=dir", "", udp + "Error (98):98\n" + noReceiver, true, true},
      {"PidFileName=no/p\nPort=dir", "",
       "failed to write to pid file no/p \n" + udp + "Error (98):98\n" + noReceiver, false, true},
      {"", "-cmy.conf -h -cother -x", usage, false, false, 0},
      {"", "-cmy.conf --help", usage, false, false, 0}};
  for (const auto& it : cases) {
    std::filesystem::remove(dir / "output");
    std::filesystem::remove_all(dir / "log");
    Daemon daemon(dir, it.settings, it.arguments);
    EXPECT_EQ(it.status, daemon.Exit());
    EXPECT_EQ(it.output, daemon.Output());
    EXPECT_EQ(it.pidFile, std::filesystem::remove(dir / "pid")) << it.output;
    EXPECT_EQ(it.directory, std::filesystem::exists(dir / "log")) << it.output;
  }
}

TEST(Start, ClosedStandardStreamsDoNotBecomeLogFiles) {
  if (std::system("unshare -m true 2>/dev/null") != 0) GTEST_SKIP() << "only root can";
  if (!TestPrefix().empty()) GTEST_SKIP() << "what runs tavok would open files first";
  const std::pair<std::string, std::string> cases[] = {
      {"", "/dev/null"},
      {"unshare -m sh -c 'mount -t tmpfs none /dev && exec \"$@\"' sh", "pipe:"}};
  for (const auto& [prefix, stream] : cases) {
    const UpDaemon daemon("", "<&- >&- 2>&-", prefix);
    for (const char* fd : {"0", "1", "2"}) {
      const std::string target = std::filesystem::read_symlink(daemon.Proc() + "/fd/" + fd);
      EXPECT_EQ(stream, target.substr(0, stream.size())) << fd;
    }
    const Sender sender(daemon / "socket");
    sender.Send(std::string(1, '\0'));  // reported as a failed write
    sender.Send("text");
    EXPECT_TRUE(Eventually([&] { return Logged(daemon).find("text") != std::string::npos; }));
    EXPECT_EQ("text", Logged(daemon));
  }
}

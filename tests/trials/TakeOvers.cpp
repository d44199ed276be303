#include <array>

#include "Trial.h"

TEST(TakeOver, UnderLoad) {
  UpDaemon first("", "-x -p 1 -l z -imbv --nothing word");
  const TempDir& dir = first;
  EXPECT_TRUE(first.Says("Log Server listening on port " + (dir / "socket\n")));
  const std::string pid = first.Pid();
  EXPECT_EQ(pid, ReadFile(dir / "pid"));
  Flood flood(dir / "socket", {});
  EXPECT_TRUE(flood.Goes(20'000));
  {
    const Daemon second(dir);
    EXPECT_EQ(0, first.Exit());
    ASSERT_TRUE(second.IsUp());
    EXPECT_TRUE(second.Says("killed previous daemon. pid=" + pid + "\n"));
    EXPECT_EQ(second.Pid(), ReadFile(dir / "pid"));
    EXPECT_TRUE(flood.Goes(20'000));
    ExpectLogged(dir, flood.Stop());
  }
  EXPECT_EQ(-1, first.Semaphore());
  EXPECT_FALSE(std::filesystem::exists(dir / "pid"));
  EXPECT_FALSE(std::filesystem::exists(dir / "socket"));
}

// Chance decides which. The other finds the port taken, or is taken over, or stays up while the one
// has its socket.
TEST(TakeOver, OfTwoThatStartAtOnceOneServes) {
  InParallel(std::array{false, true}, [](bool udp) {
    const TempDir dir;
    const std::string port = udp ? std::to_string(FreePort()) : dir / "socket";
    Daemon one(dir, "Port=" + port + "\n"), two(dir, "Port=" + port + "\n");
    for (const Daemon* daemon : {&one, &two}) {
      EXPECT_TRUE(Eventually([&] { return daemon->Semaphore() != 0 || daemon->HasEnded(); }));
    }
    Sender(port).Send("received");
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == "received"; }));
    for (Daemon* daemon : {&one, &two}) {
      const int status = daemon->HasEnded() ? daemon->Exit() : daemon->Stop();
      EXPECT_LE(status, 1);
    }
  });
}

// Nothing here may be -1, or become it in 32 bits: that would end everything.
TEST(TakeOver, OfAPidFileWithRubbish) {
  const std::string rubbish[] = {
      "0",           "nobody",     "-x",  std::string(3, '\0'),     "\xFF\xFE", "\n", " \t",
      "2147483647x", "4294967296", "1e9", std::string(1 << 20, 'x')};
  InParallel(rubbish, [](const std::string& text) {
    const TempDir dir;
    WriteFile(dir / "pid", text);
    const Daemon daemon(dir, "", "", Shimmed("kill,-,1,3"));
    EXPECT_TRUE(daemon.IsUp());
    EXPECT_EQ(daemon.Pid(), ReadFile(dir / "pid"));
  });
}

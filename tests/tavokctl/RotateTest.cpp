#include "Ctl.h"

TEST(Rotate, GivesEachOfSeveralAtOnceAFileOfItsOwn) {
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  for (int round = 0; round < 2; ++round) {
    Sender(dir / "socket").Send(std::to_string(round));
    EXPECT_TRUE(Eventually([&] { return Logged(dir).size() == size_t(round + 1); }));
    Ctl first(dir, "rotate -c conf", "first");
    Ctl second(dir, "rotate -c conf", "second");
    EXPECT_EQ(0, first.Status()) << first.Err();
    EXPECT_EQ(0, second.Status()) << second.Err();
    EXPECT_NE(first.Out(), second.Out());
    EXPECT_TRUE(first.Out().starts_with("tavok has rotated: tavok_2")) << first.Out();
  }
  EXPECT_EQ(5U, LogFiles(dir).size());
  EXPECT_EQ("01", Logged(dir));
}

TEST(Rotate, GivesUpWhenTavokDoesNothing) {
  const TempDir dir;
  Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  daemon.Signal(SIGSTOP);
  Expect(dir, "rotate -t 1 -c conf", 1, "no new file after 1 s; the system log may say why");
  Ctl rotate(dir, "rotate -c conf");
  EXPECT_TRUE(rotate.Waits(dir / "log"));
  daemon.Signal(SIGKILL);
  EXPECT_EQ(1, rotate.Status());
  EXPECT_TRUE(rotate.Says("tavok has ended"));
  Expect(dir, "status -c conf", 1, "does not exist");  // a zombie: nobody has waited for it yet
  EXPECT_EQ(128 + SIGKILL, daemon.Exit());
}

TEST(Rotate, RequiresACurrentFile) {
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  std::filesystem::remove(dir / "log/tmp.tavok");
  Expect(dir, "rotate -c conf", 1,
         "there is no tmp.tavok; after a failed rotation, create an empty one first");
  EXPECT_TRUE(LogFiles(dir).empty());
}

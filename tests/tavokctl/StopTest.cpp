#include "Ctl.h"

TEST(Stop, ReturnsWhenTavokHasEnded) {
  const TempDir dir;
  Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  Expect(dir, "stop -c conf", 0, "tavok has stopped: pid " + daemon.Pid());
  EXPECT_TRUE(daemon.HasEnded());
  EXPECT_EQ(0, daemon.Exit());
}

TEST(Stop, GivesUpWhenTavokDoesNotEnd) {
  const TempDir dir;
  Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  daemon.Signal(SIGSTOP);
  Expect(dir, "stop -t 1 -c conf", 1, "still running after 1 s");
  daemon.Signal(SIGCONT);
  EXPECT_EQ(0, daemon.Exit());
}

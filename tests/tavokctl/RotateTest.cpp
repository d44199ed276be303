#include "RunningTavok.h"

using Rotate = RunningTavok;

TEST_F(Rotate, RequiresACurrentFileAndGivesEachOfSeveralAtOnceItsOwn) {
  for (int round = 0; round < 2; ++round) {
    Sender(m_dir / "socket").Send(std::to_string(round));
    EXPECT_TRUE(Eventually([&] { return Logged(m_dir).size() == size_t(round + 1); }));
    Ctl first(m_dir, "rotate -c conf", "first");
    Ctl second(m_dir, "rotate -c conf", "second");
    EXPECT_EQ(0, first.Status()) << first.Err();
    EXPECT_EQ(0, second.Status()) << second.Err();
    EXPECT_NE(first.Out(), second.Out());
    EXPECT_TRUE(first.Out().starts_with("tavok has rotated: tavok_2")) << first.Out();
  }
  EXPECT_EQ(5U, LogFiles(m_dir).size());
  EXPECT_EQ("01", Logged(m_dir));

  std::filesystem::remove(m_dir / "log/tmp.tavok");
  Expect(m_dir, "rotate -c conf", 1,
         "there is no tmp.tavok; after a failed rotation, create an empty one first");
  EXPECT_EQ(4U, LogFiles(m_dir).size());
}

// As after the clock has been set back.
TEST_F(Rotate, WaitsNoLongerThanItMayForFilesOfTheFuture) {
  for (int ahead = 0; ahead < 60; ++ahead) {
    const std::time_t then = std::time(nullptr) + ahead;
    char name[64];
    (void)std::strftime(name, sizeof name, "log/tavok_%Y%m%d_%H%M%S.log", std::gmtime(&then));
    WriteFile(m_dir / name, "");
  }
  const auto begin = std::chrono::steady_clock::now();
  Expect(m_dir, "rotate -t 1 -c conf", 1, "already, and has been for each of 1 s");
  EXPECT_LT(SecondsSince(begin), 5 * Patience());
}

TEST_F(Rotate, GivesUpAsStopDoesWhenTavokDoesNothing) {
  m_daemon.Signal(SIGSTOP);
  Expect(m_dir, "stop -t 1 -c conf", 1, "still running after 1 s");
  Expect(m_dir, "rotate -t 1 -c conf", 1, "no new file after 1 s; the system log may say why");
  Ctl rotate(m_dir, "rotate -c conf");
  EXPECT_TRUE(rotate.Waits(m_dir / "pid.lock"));
  // A rotation that is half done is none.
  std::filesystem::rename(m_dir / "log/tmp.tavok", m_dir / "log/tavok_half");
  m_daemon.Signal(SIGKILL);
  EXPECT_EQ(1, rotate.Status());
  EXPECT_TRUE(rotate.Says("tavok has ended"));
  Expect(m_dir, "status -c conf", 1, "does not exist");  // a zombie: nobody has waited for it yet
  EXPECT_EQ(128 + SIGKILL, m_daemon.Exit());
}

#include "RunningTavok.h"

using Stop = RunningTavok;

TEST_F(Stop, GivesUpWhenTavokDoesNotEnd) {
  m_daemon.Signal(SIGSTOP);
  Expect(m_dir, "stop -t 1 -c conf", 1, "still running after 1 s");
  m_daemon.Signal(SIGCONT);
  EXPECT_EQ(0, m_daemon.Exit());
}

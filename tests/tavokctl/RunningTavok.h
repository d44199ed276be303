#pragma once

#include "Ctl.h"

// A tavok that is up, with the usual settings.
class RunningTavok : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(m_daemon.IsUp()) << m_daemon.Output(); }

  const TempDir m_dir;
  Daemon m_daemon{m_dir};
};

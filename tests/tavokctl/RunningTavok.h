#pragma once

#include "Ctl.h"

// A tavok that is up, with the usual settings.
class RunningTavok : public testing::Test {
 protected:
  UpDaemon m_daemon;
  const TempDir& m_dir = m_daemon;
};

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>

#include "Files.h"
#include "Globals.h"
#include "LogServerEngine.h"
#include "Process.h"
#include "SignalHandlers.h"

// Runs the SIGHUP handler where errno matters. Returns what it reports.
static std::string ReportOfSigHup() {
  g_syslog.m_bNoSyslog = true;
  testing::internal::CaptureStderr();
  errno = 123;
  sighup(SIGHUP);
  EXPECT_EQ(123, errno);
  return testing::internal::GetCapturedStderr();
}

TEST(SignalHandlers, SigHupReportsARotationThatFailsAndInstallsItselfAgain) {
  CLogServerEngine::m_pLogServerEngine = nullptr;
  EXPECT_EQ("", ReportOfSigHup());
  const TempDir dir;
  CLogServerEngine engine(dir / "log", 1, 1, 1, true);
  ASSERT_TRUE(engine.Init());
  EXPECT_EQ("", ReportOfSigHup());
  EXPECT_TRUE(engine.Write("rotated"));
  std::filesystem::remove(dir / "log/tmp.tavok");
  EXPECT_EQ("CLogServerEngine file system error:2\n", ReportOfSigHup());
  EXPECT_FALSE(engine.Write("no file is open"));
  EXPECT_EQ(&sighup, ::signal(SIGHUP, SIG_DFL));
}

TEST(SignalHandlers, SigTermAsksTheProgramToExitOnceItIsNotBlocked) {
  InstallSigTerm();
  {
    const CSignalBlock block;
    ::kill(::getpid(), SIGTERM);
    EXPECT_FALSE(g_bExitProgram);
  }
  EXPECT_TRUE(g_bExitProgram);
  ::signal(SIGTERM, SIG_DFL);
}

#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "Files.h"
#include "Globals.h"
#include "LogServerEngine.h"
#include "Process.h"
#include "SignalHandlers.h"

namespace {

constexpr int kErrno = 123;

// Runs the SIGHUP handler where errno matters. Returns what it reports.
std::string ReportOfSigHup() {
  g_syslog.m_bNoSyslog = true;
  testing::internal::CaptureStderr();
  errno = kErrno;
  sighup(SIGHUP);
  EXPECT_EQ(kErrno, errno);
  return testing::internal::GetCapturedStderr();
}

}  // namespace

TEST(SignalHandlers, SigHupWithoutAnEngineInstallsItselfAgain) {
  CLogServerEngine::m_pLogServerEngine = nullptr;
  ::signal(SIGHUP, SIG_DFL);
  EXPECT_EQ("", ReportOfSigHup());
  EXPECT_EQ(&sighup, ::signal(SIGHUP, SIG_DFL));
}

TEST(SignalHandlers, SigHupReportsARotationThatFails) {
  const TempDir dir;
  CLogServerEngine engine(dir / "log", 1, 1, 1, true);
  ASSERT_TRUE(engine.Init());
  EXPECT_EQ("", ReportOfSigHup());
  EXPECT_TRUE(engine.Write("rotated"));
  std::filesystem::remove(dir / "log/tmp.tavok");
  EXPECT_EQ("CLogServerEngine file system error:2\n", ReportOfSigHup());
  EXPECT_FALSE(engine.Write("no file is open"));
  ::signal(SIGHUP, SIG_DFL);
}

TEST(SignalHandlers, SigTermAsksTheProgramToExitOnceItIsNotBlocked) {
  InstallSigTerm();
  {
    const CSignalBlock block;
    ::raise(SIGTERM);
    EXPECT_FALSE(g_bExitProgram);
  }
  EXPECT_TRUE(g_bExitProgram);
  ::signal(SIGTERM, SIG_DFL);
}

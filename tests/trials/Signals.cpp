#include "Auditor.h"

namespace {

bool Exists(const std::string& path) { return std::filesystem::exists(path); }

// The next one goes on with what is left.
void IsKilled(const TempDir& dir, Daemon& daemon) {
  EXPECT_EQ(128 + SIGKILL, daemon.Exit());
  std::filesystem::remove(dir / "pid");  // which only makes the start wait
  const Daemon next(dir);
  EXPECT_TRUE(next.IsUp());
  EXPECT_TRUE(Collects(dir, "after"));
}

void StopsInOrder(const TempDir& dir, Daemon& daemon, int signal) {
  const int status = daemon.Stop();
  EXPECT_FALSE(Exists(dir / "pid"));
  if (status == 128 + signal) {  // before it had a handler
    EXPECT_FALSE(Exists(dir / "log"));
    return;
  }
  EXPECT_EQ(0, status);
  EXPECT_EQ(std::string::npos, daemon.Output().find("error")) << daemon.Output();
  EXPECT_FALSE(Exists(dir / "socket"));
}

// Stops a daemon before one of its calls, counted from its first to its last, gives it the signal
// there and lets it go on. Returns false when it makes fewer than `call` calls.
bool SignalBefore(int call, int signal) {
  SCOPED_TRACE("call " + std::to_string(call));
  const TempDir dir;
  Daemon daemon(dir, "", "", Shimmed("'*',-," + std::to_string(call) + ",0"));
  const auto paused = [&] { return Exists(dir / "paused"); };
  EXPECT_TRUE(Eventually([&] { return daemon.Semaphore() != 0 || paused() || daemon.HasEnded(); }));
  const bool starting = paused();
  if (!starting) {
    daemon.Signal(SIGTERM);  // to see it stop
    EXPECT_TRUE(Eventually([&] { return paused() || daemon.HasEnded(); }));
    if (!paused()) return false;
  }
  daemon.Signal(signal);
  std::filesystem::remove(dir / "paused");  // which lets it go on
  // One that comes up after all collects, whatever the signal has done to its start.
  if (signal == SIGHUP && starting && daemon.IsUp()) {
    Sender(dir / "socket").Send("received");
    // Not at once: a rotation may come between looking for the files and reading them.
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == "received"; })) << Logged(dir);
    EXPECT_LE(LogFiles(dir).size(), 2u);
  }
  signal == SIGKILL ? IsKilled(dir, daemon) : StopsInOrder(dir, daemon, signal);
  return true;
}

// Before each call, one daemon for each.
void HeedsAtEveryStep(int signal) {
  std::atomic<int> next = 1, steps = 0;
  InParallel(std::vector<int>(8), [&](int) {
    while (next <= 200 && SignalBefore(next++, signal)) ++steps;
  });
  EXPECT_GT(steps, 20);
  Figure("signal %d before each of %d calls", signal, steps.load());
}

}  // namespace

TEST(Signal, ARotationEach1100MillisecondsLosesNothing) {
  const UpDaemon daemon("MaxSize=300\n");  // deletes what has been read
  const auto rotations = Scale<std::size_t>(3, 180);
  Auditor auditor(daemon);
  Flood flood(daemon / "socket", {});
  for (std::size_t i = 0; i < rotations; ++i) {
    Rotate(daemon, daemon);
    daemon.Pause();  // as a debugger does
    Nap(20);
    daemon.Signal(SIGCONT);
    ASSERT_EQ("", auditor.Read(flood));
  }
  const long sent = auditor.Finish(daemon, flood);
  EXPECT_GT(auditor.Files(), rotations);
  Figure("%zu rotations, %ld messages: each once and in order", rotations, sent);
}

// Rotations within one second keep the later file only, so that messages go; but none is torn or
// moved, and afterwards all is as it was.
TEST(Signal, AStormOfRotations) {
  const UpDaemon daemon;
  const std::string log = daemon / "log/tmp.tavok";
  const int signals = Scale(1000, 20000);
  Flood flood(daemon / "socket", {.lead = 4'000'000});
  for (int i = 0; i < signals; ++i) {
    daemon.Signal(SIGHUP);
    ::usleep(50);
  }
  const std::vector<int>& counts = flood.Stop();
  // A rotation of the storm that came late could take the name of the next one's file.
  EXPECT_TRUE(Eventually([&] { return !daemon.HasPending(SIGHUP); }));
  EXPECT_TRUE(Eventually([&] {
    Rotate(daemon, daemon);
    return ReadFile(log).empty();
  }));
  EXPECT_EQ("", NumberedFault(Logged(daemon), counts, LONG_MAX));

  Flood after(daemon / "socket", {.each = 5000});
  EXPECT_TRUE(Eventually([&] { return after.HasSentAll(); }));
  EXPECT_TRUE(Eventually([&] { return NumberedFault(ReadFile(log), after.Stop()).empty(); }));
  Figure("%d signals", signals);
}

TEST(Signal, HangupAtEveryStepOfStartAndStop) { HeedsAtEveryStep(SIGHUP); }

TEST(Signal, TerminationAtEveryStepOfStartAndStop) { HeedsAtEveryStep(SIGTERM); }

TEST(Signal, KillAtEveryStepOfStartAndStop) { HeedsAtEveryStep(SIGKILL); }

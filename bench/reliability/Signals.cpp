#include <map>

#include "Trial.h"

TEST(Signal, ARotationEach1100MillisecondsLosesNothing) {
  const TempDir dir;
  const Daemon daemon(dir, "MaxSize=300\n");  // deletes what has been read
  ASSERT_TRUE(daemon.IsUp());
  const int rotations = Scale(3, 180);
  Auditor auditor(dir);
  auditor.Expect(4);
  Flood flood(dir, 4);
  for (int i = 0; i < rotations; ++i) {
    Rotate(dir, daemon);
    daemon.Signal(SIGSTOP), Nap(20), daemon.Signal(SIGCONT);  // as a debugger does
    ASSERT_EQ("", auditor.Read());
  }
  const auto& counts = flood.Stop();
  auditor.ReadToTheEnd(daemon, counts);
  EXPECT_GT(auditor.Files(), rotations);
  Figure("%d rotations, %d messages: each once and in order", rotations,
         std::accumulate(counts.begin(), counts.end(), 0));
}

// Rotations within one second keep the later file only, so that messages go; but none is torn or
// moved, and afterwards all is as it was.
TEST(Signal, AStormOfRotations) {
  const TempDir dir;
  const Daemon daemon(dir);
  ASSERT_TRUE(daemon.IsUp());
  const int signals = Scale(1000, 20000);
  Flood flood(dir, 4);
  for (int i = 0; i < signals; ++i) daemon.Signal(SIGHUP), ::usleep(50);
  const auto counts = flood.Stop();
  EXPECT_TRUE(Eventually([&] {
    Rotate(dir, daemon);
    return ReadFile(dir / "log/tmp.tavok").empty();
  }));
  EXPECT_EQ("", NumberedFault(Logged(dir), counts, LONG_MAX));
  Flood after(dir, 4);
  Nap(200);
  const auto& more = after.Stop();
  EXPECT_TRUE(
      Eventually([&] { return NumberedFault(ReadFile(dir / "log/tmp.tavok"), more).empty(); }));
  Figure("%d signals", signals);
}

// Stops the daemon before each of its calls, one daemon for each, from its first to its last, gives
// it the signal there and lets it go on. Returns false when it makes fewer than `call` calls.
static bool SignalBefore(int call, int signal) {
  const TempDir dir;
  Daemon daemon(dir, "", "", Shimmed("'*',-," + std::to_string(call) + ",0"));
  const auto paused = [&] { return std::filesystem::exists(dir / "paused"); };
  EXPECT_TRUE(Eventually([&] { return daemon.Semaphore() != 0 || paused() || daemon.HasEnded(); }))
      << call;
  const bool starting = paused();
  if (!starting) {
    daemon.Signal(SIGTERM);  // to see it stop
    Eventually([&] { return paused() || daemon.HasEnded(); });
    if (!paused()) return false;
  }
  daemon.Signal(signal);
  std::filesystem::remove(dir / "paused");
  if (signal == SIGHUP && starting && daemon.IsUp()) {
    Sender(dir / "socket").Send("received");
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == "received"; })) << call;
    EXPECT_LE(LogFiles(dir).size(), 2u) << call;
  }
  const int status = daemon.Stop();
  if (status == 128 + signal) {  // before it had a handler
    EXPECT_FALSE(std::filesystem::exists(dir / "pid") || std::filesystem::exists(dir / "log"));
    return true;
  }
  EXPECT_EQ(0, status) << call;
  EXPECT_EQ(std::string::npos, daemon.Output().find("error")) << daemon.Output();
  EXPECT_FALSE(std::filesystem::exists(dir / "pid") || std::filesystem::exists(dir / "socket"));
  return true;
}

TEST(Signal, AtEveryStepOfStartAndStop) {
  for (const int signal : {SIGHUP, SIGTERM}) {
    std::atomic<int> next = 1, steps = 0;
    std::vector<std::jthread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([&] {
        while (next <= 200 && SignalBefore(next++, signal)) ++steps;
      });
    }
    threads.clear();
    EXPECT_GT(steps, 20);
    Figure("signal %d before each of %d calls", signal, steps.load());
  }
}

TEST(TakeOver, UnderLoad) {
  const TempDir dir;
  Daemon first(dir, "", "-x -p 1 -l z -imbv --nothing word");
  ASSERT_TRUE(first.IsUp() && first.Says("Log Server listening on port " + (dir / "socket\n")));
  const std::string pid = first.Pid();
  EXPECT_EQ(pid, ReadFile(dir / "pid"));
  Flood flood(dir, 4);
  Nap(500);
  {
    const Daemon second(dir);
    EXPECT_EQ(0, first.Exit());
    ASSERT_TRUE(second.IsUp() && second.Says("killed previous daemon. pid=" + pid + "\n"));
    EXPECT_EQ(second.Pid(), ReadFile(dir / "pid"));
    Nap(500);
    const auto& counts = flood.Stop();
    const auto fault = [&] { return NumberedFault(Logged(dir), counts, QueueLength()); };
    EXPECT_TRUE(Eventually([&] { return fault().empty(); })) << fault();
  }
  EXPECT_EQ(-1, first.Semaphore());
  EXPECT_FALSE(std::filesystem::exists(dir / "pid") || std::filesystem::exists(dir / "socket"));
}

// Which one, the moment decides. Over UDP the other finds the port taken, or is taken over.
TEST(TakeOver, OfTwoThatStartAtOnceOneServes) {
  for (const bool udp : {false, true}) {
    const TempDir dir;
    const unsigned port = FreePort();
    const std::string settings = udp ? "Port=" + std::to_string(port) + "\n" : "";
    Daemon one(dir, settings), two(dir, settings);
    for (const Daemon* daemon : {&one, &two}) {
      EXPECT_TRUE(Eventually([&] { return daemon->Semaphore() != 0 || daemon->HasEnded(); }));
    }
    Sender(udp ? std::to_string(port) : dir / "socket").Send("received");
    EXPECT_TRUE(Eventually([&] { return Logged(dir) == "received"; }));
    for (Daemon* daemon : {&one, &two}) {
      const int status = daemon->HasEnded() ? daemon->Exit() : daemon->Stop();
      EXPECT_LE(status, udp ? 1 : 0);
    }
  }
}

// Nothing here may be -1, or become it in 32 bits: that would end everything.
TEST(TakeOver, OfAPidFileWithRubbish) {
  const std::string rubbish[] = {
      "0",           "nobody",     "-x",  std::string(3, '\0'),     "\xFF\xFE", "\n", " \t",
      "2147483647x", "4294967296", "1e9", std::string(1 << 20, 'x')};
  std::vector<std::jthread> daemons;
  for (const std::string& text : rubbish) {
    daemons.emplace_back([&text] {
      const TempDir dir;
      WriteFile(dir / "pid", text);
      const Daemon daemon(dir, "", "", Shimmed("kill,-,1,3"));
      EXPECT_TRUE(daemon.IsUp());
      EXPECT_EQ(daemon.Pid(), ReadFile(dir / "pid"));
    });
  }
}

TEST(Clock, ThatJumpsLosesNothing) {
  const TempDir dir;
  WriteFile(dir / "clock", std::string(sizeof(long), '\0'));
  const Daemon daemon(dir, "ExternalRotation=1\n", "", Shimmed("", dir / "clock"));
  ASSERT_TRUE(daemon.IsUp());
  Flood flood(dir, 4);
  std::size_t rotated = 1;
  for (const long shift : {3600L, -3600L, 86400L * 365, -86400L * 365, 2L, 0L}) {
    std::fstream(dir / "clock").write(reinterpret_cast<const char*>(&shift), sizeof shift);
    Nap(300);
    daemon.Signal(SIGHUP);
    EXPECT_TRUE(Eventually([&, want = ++rotated] { return LogFiles(dir).size() == want; }));
  }
  const auto& counts = flood.Stop();
  const auto logged = [&] {  // in the order of writing, which the names do not tell here
    std::map<std::filesystem::file_time_type, std::string> files;
    for (const std::string& name : LogFiles(dir)) {
      files[std::filesystem::last_write_time(dir / ("log/" + name))] +=
          ReadFile(dir / ("log/" + name));
    }
    std::string text;
    for (const auto& [time, part] : files) text += part;
    return text;
  };
  EXPECT_TRUE(Eventually([&] { return NumberedFault(logged(), counts).empty(); }))
      << NumberedFault(logged(), counts);
}

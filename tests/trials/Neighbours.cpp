#include <fcntl.h>

#include "Collector.h"
#include "Trial.h"

namespace {

constexpr const char* kTrace = "/tmp/ZABKTraceCon";

// A daemon comes up, takes a flood with rotations and with what it has to report about, and stops.
void RunsWell(const std::string& arguments = "") {
  const auto begin = std::chrono::steady_clock::now();
  {
    const UpDaemon daemon("", arguments);
    Flood flood(daemon / "socket", {.senders = 2, .pauseUs = 1000});
    for (int i = 0; i < 2; ++i) {
      Sender(daemon / "socket").Send(std::string(1, '\0'));  // reported as a failed write
      Rotate(daemon, daemon);
    }
    ExpectLogged(daemon, flood.Stop());
  }
  EXPECT_LT(SecondsSince(begin), 30 * Patience());
}

}  // namespace

TEST(Neighbours, TracedReportsToASystemLoggerThatListens) {
  if (!MayStandInForTheSystemLogger()) GTEST_SKIP() << "a system logger runs, or only root can";
  Collector log(kSystemLog);
  const UpDaemon daemon("", "<&- >&- 2>&-");
  EXPECT_TRUE(log.Sees("[tavok][" + daemon.Pid() + "]: Log Server listening on port " +
                       (daemon / "socket")));
  EXPECT_EQ(1, log.Count("[" + daemon.Pid() + "]", "<134>"));  // facility local0, information
  Sender(daemon / "socket").Send(std::string(1, '\0'));
  EXPECT_TRUE(log.Sees("CLogServerUdp::MainWorkerThread() fwrite failed"));
  EXPECT_EQ("", Logged(daemon));
}

TEST(Neighbours, TracedToACollectorThatIsFull) {
  const FullCollector trace(kTrace);
  const FullCollector diag("/tmp/ZABKDiagCon");
  RunsWell();
}

TEST(Neighbours, TracedToACollectorThatComesAndGoes) {
  std::jthread restarts([](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      const Collector collector(kTrace);
      Nap(20);
    }
  });
  RunsWell();
}

TEST(Neighbours, TracedReportsToASystemLoggerThatHangs) {
  if (!MayStandInForTheSystemLogger()) GTEST_SKIP() << "a system logger runs, or only root can";
  const FullCollector logger(kSystemLog);
  RunsWell();
}

TEST(Neighbours, ReportsToAStandardErrorThatNobodyReads) {
  int ends[2];
  ASSERT_EQ(0, ::pipe2(ends, O_NONBLOCK));
  while (::write(ends[1], "x", 1) == 1) {
  }
  RunsWell("2>/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(ends[1]));
  for (const int end : ends) ::close(end);
}

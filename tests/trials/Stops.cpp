#include <random>

#include "Manager.h"
#include "OwnNetwork.h"
#include "Trial.h"

// What a sender was told to be sent is in the log, whatever ends the daemon meanwhile.

namespace {

// Has the daemon rotate, if that does not replace the file of an earlier rotation.
void RotateNow(const Daemon& daemon) {
  static std::time_t s_last = 0;
  const std::time_t now = std::time(nullptr);
  if (now <= s_last + 1) return;
  daemon.Signal(SIGHUP);
  s_last = now;
}

// Starts daemons and ends each by the signal, after a moment of its own, under the load of one
// flood. Returns how many of its messages are missing in their logs.
template <class Setup>
long MissingAfter(int signal, int rounds, const TempDir& dir, const Destination& to,
                  const FloodSetup& load, Setup setup) {
  std::mt19937 random(1);
  NumberedReader reader(load.senders);
  Flood flood(to, load);
  for (int round = 0; round < rounds; ++round) {
    std::filesystem::remove(dir / "pid");  // a stale one only makes the next start wait
    Daemon daemon(dir, setup());
    EXPECT_TRUE(daemon.IsUp()) << daemon.Output();
    EXPECT_TRUE(flood.Goes(100));
    Nap(static_cast<int>(random() % 50));
    if (round % 3 == 0) RotateNow(daemon);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(signal == SIGTERM ? 0 : 128 + signal, daemon.Stop(signal));
    EXPECT_LT(SecondsSince(begin), (kSanitized ? 10 : 5) * Patience());
    (void)reader.Read(Logged(dir));
    std::filesystem::remove_all(dir / "log");
    flood.HasReadAll();
  }
  const std::vector<int>& counts = flood.Stop();
  std::filesystem::remove(dir / "pid");
  {
    const Daemon last(dir, setup());  // whose stop stores what is queued in a held socket
    EXPECT_TRUE(last.IsUp());
  }
  (void)reader.Read(Logged(dir));
  EXPECT_EQ(0, reader.Repeated() + reader.OutOfOrder());
  // The kernel cuts a write of a killed process where it goes on to another page of the file.
  EXPECT_LE(reader.Torn(), signal == SIGKILL ? rounds : 0);
  Figure("%d times signal %d, %zu senders, %ld messages: %ld missing, %ld torn", rounds, signal,
         load.senders, Sum(counts), reader.Missing(counts), reader.Torn());
  return reader.Missing(counts);
}

}  // namespace

TEST(Stop, LosesNothingThatWasAccepted) {
  if (!MayMakeANetwork()) GTEST_SKIP() << "only root can set the length of a queue";
  for (const std::string queue : {"10", "512"}) {
    const std::string prefix = "unshare -n sh -c 'echo " + queue +
                               " >/proc/sys/net/unix/max_dgram_qlen && exec \"$@\"' sh";
    for (const std::size_t senders : {1u, 4u, 64u}) {
      const TempDir dir;
      EXPECT_EQ(0, MissingAfter(SIGTERM, Scale(3, 200), dir, dir / "socket", {.senders = senders},
                                [&] { return TavokSetup{.prefix = prefix}; }));
    }
  }
}

TEST(Stop, LosesNothingThatTheKernelAcceptedByUdp) {
  if (!MayMakeANetwork()) GTEST_SKIP() << "only root can count the datagrams of this test alone";
  InOwnNetwork([] {
    const TempDir dir;
    const auto setup = [] { return TavokSetup{.settings = "Port=23456\n"}; };
    const FloodSetup load{.senders = 3, .pauseUs = 50};
    const long missing = MissingAfter(SIGTERM, Scale(5, 200), dir, "23456", load, setup);
    EXPECT_EQ(DroppedUdp(), missing);
  });
}

// A write may wait for a busy disk.
TEST(Stop, LosesNothingByUdpHoweverLongTheQueueTakes) {
  if (!MayMakeANetwork()) GTEST_SKIP() << "only root can count the datagrams of this test alone";
  InOwnNetwork([] {
    const TempDir dir;
    Daemon daemon(dir, "Port=23456\n", "", Shimmed("recv,-,1,0"));  // the first of the drain
    ASSERT_TRUE(daemon.IsUp());
    Flood flood("23456", {.senders = 3});
    daemon.Pause();
    EXPECT_TRUE(flood.Goes(1000));  // more than the queue holds
    daemon.Signal(SIGTERM);
    daemon.Signal(SIGCONT);
    EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(dir / "paused"); }));
    Nap(1100);  // above the limit where others may go on filling the queue
    std::filesystem::remove(dir / "paused");
    EXPECT_EQ(0, daemon.Exit());
    const std::vector<int>& counts = flood.Stop();
    NumberedReader reader(3);
    EXPECT_EQ("", reader.Read(Logged(dir)));
    EXPECT_EQ(DroppedUdp(), reader.Missing(counts));
  });
}

TEST(Stop, OfAHeldSocketLosesNothingAndByKillingTheOneInHand) {
  for (const int signal : {SIGTERM, SIGKILL}) {
    const TempDir dir;
    const Manager manager(dir);
    const int rounds = Scale(5, 200);
    EXPECT_LE(
        MissingAfter(signal, rounds, dir, dir / "socket", {}, [&] { return manager.Setup(); }),
        signal == SIGTERM ? 0 : rounds);
  }
}

TEST(Stop, ByKillingLosesNoMoreThanTheQueueAndTheOneInHand) {
  const int rounds = Scale(5, 100),
            queue = std::stoi(ReadFile("/proc/sys/net/unix/max_dgram_qlen"));
  const TempDir dir;
  EXPECT_LE(MissingAfter(SIGKILL, rounds, dir, dir / "socket", {}, [] { return TavokSetup(); }),
            rounds * (queue + 2));
}

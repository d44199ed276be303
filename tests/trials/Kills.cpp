#include <random>

#include "Trial.h"

// What was in the file when the daemon was killed is there afterwards, and a next one adds to it.
TEST(Kill, NothingWrittenIsLostAndNoLineIsTorn) {
  const TempDir dir;
  const int rounds = Scale(5, 100);
  std::mt19937 random(1);
  Flood flood(dir / "socket", {});
  NumberedReader reader(4);
  std::string read;
  std::time_t rotated = 0;
  for (int round = 0; round < rounds; ++round) {
    std::filesystem::remove(dir / "pid");  // a stale one only makes the next start wait
    Daemon daemon(dir);
    ASSERT_TRUE(daemon.IsUp()) << daemon.Output();
    Nap(static_cast<int>(random() % 200));
    const std::size_t seen = std::filesystem::file_size(dir / "log/tmp.tavok");
    // Some are killed in the middle of a rotation; two in a second would replace a file.
    if (const std::time_t now = std::time(nullptr); round % 2 == 0 && now > rotated) {
      daemon.Signal(SIGHUP);
      rotated = now + 1;
    }
    ASSERT_EQ(128 + SIGKILL, daemon.Stop(SIGKILL));
    const std::string logged = Logged(dir);
    ASSERT_TRUE(logged.starts_with(read));
    ASSERT_GE(logged.size(), seen);
    ASSERT_EQ("", reader.Read(std::string_view(logged).substr(read.size())));
    flood.HasRead(reader.Whole());
    read = logged;
    if (round % 10 != 9) continue;
    std::filesystem::remove_all(dir / "log");  // keeps it small enough to be read each time
    read.clear();
  }
  const std::vector<int>& counts = flood.Stop();
  const long missing = reader.Missing(counts);
  EXPECT_GE(missing, 0);
  EXPECT_LE(missing, long{rounds} * QueueLength());
  Figure("%d kills, %ld messages sent; %ld were in a queue when their daemon was killed", rounds,
         Sum(counts), missing);
}

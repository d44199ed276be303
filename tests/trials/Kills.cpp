#include <random>

#include "Trial.h"

namespace {

// Reads the log of daemons that are killed, from where it ended the last time.
class Log {
 public:
  explicit Log(const TempDir& dir) : m_dir(dir) {}

  // Expects what had been read, and all of `size` bytes, to be there still. Reads what is new.
  void Read(std::size_t size) {
    const std::string logged = Logged(m_dir);
    ASSERT_TRUE(logged.starts_with(m_read));
    ASSERT_GE(logged.size(), size);
    ASSERT_EQ("", m_reader.Read(std::string_view(logged).substr(m_read.size())));
    m_read = logged;
  }
  // Keeps the log small enough to be read each time.
  void Clear() {
    std::filesystem::remove_all(m_dir / "log");
    m_read.clear();
  }
  const NumberedReader& Messages() const { return m_reader; }

 private:
  const TempDir& m_dir;
  NumberedReader m_reader{4};
  std::string m_read;
};

}  // namespace

// What was in the file when the daemon was killed is there afterwards, and a next one adds to it.
TEST(Kill, NothingWrittenIsLostAndNoLineIsTorn) {
  const TempDir dir;
  const int rounds = Scale(5, 100);
  std::mt19937 random(1);
  Flood flood(dir / "socket", {});
  Log log(dir);
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
    ASSERT_NO_FATAL_FAILURE(log.Read(seen));
    flood.HasRead(log.Messages().Whole());
    if (round % 10 == 9) log.Clear();
  }
  const std::vector<int>& counts = flood.Stop();
  const long missing = log.Messages().Missing(counts);
  EXPECT_GE(missing, 0);
  EXPECT_LE(missing, long{rounds} * QueueLength());
  Figure("%d kills, %ld messages sent; %ld were in a queue when their daemon was killed", rounds,
         Sum(counts), missing);
}

#include <span>

#include "Trial.h"

namespace {

// What a process holds.
struct Holdings {
  explicit Holdings(const Daemon& daemon) {
    const std::string proc = "/proc/" + daemon.Pid();
    std::ifstream status(proc + "/status");
    for (std::string word; status >> word;) {
      if (word == "VmRSS:") status >> memoryKb;
      if (word == "Threads:") status >> threads;
    }
    const std::filesystem::directory_iterator files(proc + "/fd");
    descriptors = std::distance(begin(files), end(files));
  }
  void Print(const char* when, long messages, int files) const {
    Figure("%-6s %ld KB, %ld descriptors, %ld threads; %ld messages in %d files", when, memoryKb,
           descriptors, threads, messages, files);
  }

  long memoryKb = 0, descriptors = 0, threads = 0;
};

// Each load with the pause of each sender after a message, in ms. `bySize`: until the worker has
// rotated, else with a signal every 1.1 s. (Both at once could hit the same second.)
struct Phase {
  std::size_t senders;
  int pauseMs;
  bool bySize;
};
constexpr Phase kPhases[] = {{4, 0, false}, {64, 5, false}, {1, 0, false},
                             {4, 1, false}, {4, 0, true},   {16, 0, false}};
constexpr std::uintmax_t kMaxFileSize = 100 << 20;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long kNoiseKb = 64 << 10;  // the sanitizer keeps what the daemon has given back
#else
constexpr long kNoiseKb = 64;  // a page here and there: what is touched for the first time
#endif

// One load, through to its last message.
void RunPhase(const Phase& phase, const TempDir& dir, const Daemon& daemon, Auditor& auditor,
              long& messages) {
  auditor.Expect(phase.senders);
  Flood flood(dir, phase.senders, phase.pauseMs);
  const auto isFull = [&] {
    return std::filesystem::file_size(dir / "log/tmp.tavok") > kMaxFileSize;
  };
  EXPECT_TRUE(!phase.bySize || (Eventually(isFull) && Eventually(std::not_fn(isFull))));
  for (int i = 0; i < Scale(1, 4); ++i) {
    phase.bySize ? Nap(1100) : Rotate(dir, daemon);
    EXPECT_EQ("", auditor.Read());
  }
  const auto& counts = flood.Stop();
  auditor.ReadToTheEnd(daemon, counts);
  messages += std::accumulate(counts.begin(), counts.end(), 0L);
}

}  // namespace

// TAVOK_SOAK_MINUTES of all loads in turns, or two of them: nothing that the daemon holds grows.
TEST(Soak, NothingGrows) {
  const char* const minutes = std::getenv("TAVOK_SOAK_MINUTES");
  const double seconds = minutes == nullptr ? 0 : 60 * std::atof(minutes);
  const TempDir dir;
  const Daemon daemon(dir, "MaxFileSize=100\nMaxSize=300\n");
  ASSERT_TRUE(daemon.IsUp());
  const auto begin = std::chrono::steady_clock::now();
  Auditor auditor(dir);
  long messages = 0;
  const auto runAll = [&] {
    for (const Phase& phase : std::span(kPhases).first(minutes == nullptr ? 2 : 6)) {
      RunPhase(phase, dir, daemon, auditor, messages);
    }
  };
  runAll();
  const Holdings start(daemon);
  start.Print("start", messages, auditor.Files());
  do {
    runAll();
    ASSERT_FALSE(HasFailure());
  } while (SecondsSince(begin) < seconds);
  const Holdings end(daemon);
  end.Print("end", messages, auditor.Files());
  EXPECT_LE(end.memoryKb, start.memoryKb + kNoiseKb);
  EXPECT_EQ(end.descriptors, start.descriptors);
  EXPECT_EQ(end.threads, start.threads);
}

#include <span>

#include "Auditor.h"

namespace {

// What a process holds.
struct Holdings {
  explicit Holdings(const Daemon& daemon) {
    std::ifstream status(daemon.Proc() + "/status");
    for (std::string word; status >> word;) {
      if (word == "VmRSS:") status >> memoryKb;
      if (word == "Threads:") status >> threads;
    }
    descriptors = CountEntries(daemon.Proc() + "/fd");
  }

  long memoryKb = 0, descriptors = 0, threads = 0;
};

// Each load with the pause of each sender after a message. `bySize`: until the worker has rotated,
// else with a signal every 1.1 s. (Both at once could hit the same second.)
struct Phase {
  std::size_t senders;
  int pauseUs;
  bool bySize;
};
constexpr Phase kPhases[] = {{4, 0, false},    {64, 0, false}, {1, 0, false},
                             {4, 1000, false}, {4, 0, true},   {16, 0, false}};
// For rotations by size. More than one file holds, and less than is deleted: 200 MB.
constexpr long kLead = 2'000'000;
constexpr std::uintmax_t kMaxFileSize = 100 << 20;
// The sanitizer keeps what the daemon has given back; else it is a page here and there, which is
// touched for the first time.
constexpr long kNoiseKb = kSanitized ? 64 << 10 : 64;

void AwaitRotationBySize(const TempDir& dir) {
  const std::string log = dir / "log/tmp.tavok";
  const auto isFull = [&] { return std::filesystem::file_size(log) > kMaxFileSize; };
  EXPECT_TRUE(Eventually(isFull));
  EXPECT_TRUE(Eventually(std::not_fn(isFull)));
}

// One load, through to its last message. Returns how many were sent.
long RunPhase(const Phase& phase, const UpDaemon& daemon, Auditor& auditor) {
  auditor.Expect(phase.senders);
  Flood flood(daemon / "socket", {.senders = phase.senders,
                                  .pauseUs = phase.pauseUs,
                                  .lead = phase.bySize ? kLead : FloodSetup{}.lead});
  if (phase.bySize) AwaitRotationBySize(daemon);
  for (int i = 0; i < Scale(1, 4); ++i) {
    phase.bySize ? Nap(1100) : Rotate(daemon, daemon);
    EXPECT_EQ("", auditor.Read(flood));
  }
  return auditor.Finish(daemon, flood);
}

}  // namespace

// TAVOK_SOAK_MINUTES of all loads in turns, or two of them: nothing that the daemon holds grows.
TEST(Soak, NothingGrows) {
  const char* const minutes = std::getenv("TAVOK_SOAK_MINUTES");
  const double seconds = minutes == nullptr ? 0 : 60 * std::atof(minutes);
  const UpDaemon daemon("MaxFileSize=100\nMaxSize=300\n");
  const auto begin = std::chrono::steady_clock::now();
  Auditor auditor(daemon);
  long messages = 0;
  const auto runAll = [&] {
    for (const Phase& phase : std::span(kPhases).first(minutes == nullptr ? 2 : 6)) {
      messages += RunPhase(phase, daemon, auditor);
    }
  };
  runAll();
  const Holdings start(daemon);
  do {
    runAll();
    ASSERT_FALSE(HasFailure());
  } while (SecondsSince(begin) < seconds);
  const Holdings end(daemon);
  Figure(
      "%ld KB at the start, %ld KB at the end, %ld descriptors, %ld threads; %ld messages in %zu "
      "files",
      start.memoryKb, end.memoryKb, end.descriptors, end.threads, messages, auditor.Files());
  EXPECT_LE(end.memoryKb, start.memoryKb + kNoiseKb);
  EXPECT_EQ(end.descriptors, start.descriptors);
  EXPECT_EQ(end.threads, start.threads);
}
